#pragma once

#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"

#include <atomic>
#include <cstdio>
#include <functional>
#include <map>
#include <string>

/// Counts the calls that are made through the program's tables from its making on, by function.
class CallCount
{
public:
    CallCount()
    {
        const auto countEntry = [this](auto &entry) { count(entry.name, entry.function); };
        platform::windowsApi().forEach(countEntry);
        platform::kernelApi().forEach(countEntry);
    }

    /// Prints one line for each function that was called.
    void print() const
    {
        for (const auto &[function, calls] : m_calls) {
            if (calls > 0)
                std::printf("calls of %s: %d\n", function.c_str(), calls.load());
        }
    }

private:
    template <typename Result, typename... Arguments>
    void count(const std::string &name, std::function<Result(Arguments...)> &function)
    {
        function = [&calls = m_calls[name], real = function](Arguments... arguments) {
            ++calls;
            return real(arguments...);
        };
    }

    std::map<std::string, std::atomic<int>> m_calls;
};
