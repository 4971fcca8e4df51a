#pragma once

struct OrvantaSearchResults;

/// Discovery of the real-time kernel and its ports. Holds no state; all members may run on any
/// thread.
class OrvantaConfig
{
public:
    /// Returns whether the real-time kernel's driver is present: its file in the system folder or,
    /// failing that, a loaded driver with its name. Writes one debug line if it is not.
    /// Throws std::filesystem::filesystem_error when the file cannot be queried.
    static bool isOrvantaInstalled();

    /// Fills the empty `results` with the kernel's free ports, the saved connections and, on
    /// failure, the error text. Throws what isOrvantaInstalled() throws and what resolving the
    /// saved connections throws.
    static void searchAdapters(OrvantaSearchResults &results);
};
