#pragma once

#include <cstdint>

/// The code with which the tests' kernel refuses a call.
inline constexpr std::uint32_t noAccess = 0x10160000;

/// Has a function of the program's tables return a result in place of its answer, without being
/// called, whenever the condition holds.
template <typename Function, typename Result, typename Condition>
void failWhen(Function &entry, Result result, Condition condition)
{
    entry.function = [=, answer = entry.function](auto... arguments) mutable {
        return condition() ? result : answer(arguments...);
    };
}
