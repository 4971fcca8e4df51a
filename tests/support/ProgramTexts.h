#pragma once

#include <QString>

// The program's texts that more than one test reads, to the letter.

inline constexpr auto driverNotFound = "Orvanta not found. Please install the Orvanta drivers.";
inline constexpr auto driverNotOpened = "Unable to open the driver!";
inline constexpr auto libraryNotLoaded = "Unable to load DLL! Is the DLL in the search path?";
inline constexpr auto noDevices = "No network adapters found!\n";
inline constexpr auto searchErrorTitle = "Orvanta Search Error";
inline constexpr auto dualLinkRefusal =
    "Dual link connection should be made with two GiGE cables connected to two ports of a single "
    "network adapter";

/// Returns the text of a DPL exception.
inline QString exceptionText(int code)
{
    return QString("Code: [%1] - Error description: ErrCode: %1").arg(code);
}

/// Returns the text by which a search says why it failed.
inline QString searchError(const QString &reason)
{
    return "[ERROR]: " + reason;
}
