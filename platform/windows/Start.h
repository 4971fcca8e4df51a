#pragma once

namespace platform
{

// The steps of start() on Windows.

/// Has the API library's table call `Brelvix.dll`, which is looked for when a search opens the
/// driver. What is missing fails with Windows' error code; a debug line names it.
void bindApiLibrary();

/// Has what is printed reach the console that the program was started from, and debug output a
/// debugger, too.
void connectStandardStreams();

} // namespace platform
