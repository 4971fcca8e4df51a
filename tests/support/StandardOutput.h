#pragma once

#include <QByteArray>
#include <QTemporaryFile>

/// Catches what the process prints to standard output for as long as the object lives.
class StandardOutput
{
public:
    StandardOutput();
    ~StandardOutput();
    StandardOutput(const StandardOutput &) = delete;
    StandardOutput &operator=(const StandardOutput &) = delete;

    /// Returns what has left the process so far, with line feeds as line ends: what was printed
    /// without being flushed is missing.
    QByteArray text();

private:
    QTemporaryFile m_file;
    int m_savedDescriptor;
};

/// Returns what the action prints to standard output. A failed comparison prints there too, so it
/// belongs after the action.
template <typename Action>
QByteArray printedBy(Action action)
{
    StandardOutput output;
    action();
    return output.text();
}
