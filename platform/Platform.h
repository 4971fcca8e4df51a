#pragma once

namespace platform
{

/// Makes the tables of this folder ready before the first page: on Windows it finds the console
/// that the program was started from and connects debug output, elsewhere it loads the simulated
/// PC. Returns false, with one line on standard error, where that PC cannot be used.
bool start();

} // namespace platform
