#pragma once

#include <functional>

namespace platform
{

template <typename Signature>
struct ApiFunction;

/// One entry of a table of functions: the name under which it is documented, and what is called.
template <typename Result, typename... Arguments>
struct ApiFunction<Result(Arguments...)> {
    const char *name;
    std::function<Result(Arguments...)> function;

    Result operator()(Arguments... arguments) const { return function(arguments...); }
};

} // namespace platform
