#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace DPL
{

/// Failure of the real-time kernel.
class GenericException : public std::exception
{
public:
    GenericException(std::int32_t errorCode, const std::string &message);
    GenericException(const GenericException &) = default;

    /// Returns the message; it lives as long as the exception.
    const char *what() const noexcept override;

    /// Returns the program's error code, negative.
    std::int32_t errorCode() const { return m_errorCode; }

private:
    std::string m_message;
    std::int32_t m_errorCode;
};

// The one list of the program's error codes and their exceptions, from which the classes and
// throwOnError() are made.
#define DPL_EXCEPTIONS(ENTRY)                                                                      \
    ENTRY(-100, NotInitializedException)                                                           \
    ENTRY(-101, InvalidStateException)                                                             \
    ENTRY(-102, NotOpenedException)                                                                \
    ENTRY(-103, NoImageDataAvailableException)                                                     \
    ENTRY(-104, NotFoundException)                                                                 \
    ENTRY(-105, InvalidParameterException)                                                         \
    ENTRY(-106, NotAvailableException)                                                             \
    ENTRY(-107, FunctionNotAvailableException)                                                     \
    ENTRY(-108, TimeoutException)                                                                  \
    ENTRY(-109, AbortedException)                                                                  \
    ENTRY(-110, FileOperationFailureException)                                                     \
    ENTRY(-111, FileOperationFatalErrorException)                                                  \
    ENTRY(-112, NoAccessException)                                                                 \
    ENTRY(-113, WrongBufferSizeException)                                                          \
    ENTRY(-114, InvalidBufferException)                                                            \
    ENTRY(-115, ResourceInUseException)                                                            \
    ENTRY(-116, NotImplementedException)                                                           \
    ENTRY(-117, InvalidHandleException)                                                            \
    ENTRY(-118, IOErrorException)                                                                  \
    ENTRY(-119, ParsingErrorException)                                                             \
    ENTRY(-120, InvalidValueException)                                                             \
    ENTRY(-121, ResourceExhaustedException)                                                        \
    ENTRY(-122, OutOfMemoryException)                                                              \
    ENTRY(-123, BusyException)

#define DPL_DECLARE_EXCEPTION(code, Name)                                                          \
    class Name : public GenericException                                                           \
    {                                                                                              \
    public:                                                                                        \
        explicit Name(const std::string &message) : GenericException(code, message) {}             \
    };

DPL_EXCEPTIONS(DPL_DECLARE_EXCEPTION)
#undef DPL_DECLARE_EXCEPTION

/// Returns at once for 0. Throws the exception of `code`, or GenericException for a code that has
/// none, with the text of formatErrorMessage().
void throwOnError(std::int32_t code);

/// Returns "Code: [<code>] - Error description: ErrCode: <code>".
std::string formatErrorMessage(std::int32_t code);

/// Returns the program's code for a code of the API library: 0 for 0, -200 for an unknown one.
std::int32_t translateKernelError(std::uint32_t kernelCode);

} // namespace DPL
