#pragma once

#include <stdexcept>
#include <string>

/// Throws std::runtime_error with one line that names the first entry of a table without an answer:
/// the program would end without a word where it calls that entry.
template <typename Api>
void requireAnswers(Api &api)
{
    api.forEach([](const auto &entry) {
        if (!entry.function)
            throw std::runtime_error(std::string(entry.name) +
                                     ": expected an answer of the simulated PC, found none");
    });
}
