#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

/// An adapter of Windows' own list.
struct SimulatedAdapter {
    QString description;
    std::uint32_t ifType = 6;
    std::uint32_t operStatus = 1;
    /// In bits per second.
    std::uint64_t transmitLinkSpeed = 1'000'000'000;
};

/// A network device of the device manager. A property without a value cannot be read.
struct SimulatedDeviceNode {
    std::optional<QString> friendlyName;
    std::optional<QStringList> hardwareIds;
    std::optional<QString> description;
    std::optional<QString> location;
};

/// A network device that the real-time kernel owns.
struct SimulatedKernelDevice {
    QString id;
    QString friendlyName;
    QString description;
};

/// What the real-time kernel answers.
struct SimulatedKernelSettings {
    /// How long opening the driver takes, in milliseconds.
    int openDelayMs = 0;
    QList<SimulatedKernelDevice> devices;
    /// Devices that the kernel knows by identifier but does not enumerate.
    QList<SimulatedKernelDevice> unlistedDevices;
    /// The code that an operation fails with, by ordinal.
    QMap<int, std::uint32_t> failures;
    /// The code after the last device.
    std::uint32_t endCode = 0x101F0000;
    QString errorName = "EXAMPLE_ERROR";
    QString errorText;
};

/// A simulated PC: what Windows and the real-time kernel answer, and the folder that holds drive
/// C:.
struct SimulatedPc {
    QString folder;
    /// The user whose folder below C:/Users is the home folder.
    QString userName = "user1";
    /// A driver without a name is one whose address Windows hides.
    QStringList loadedDrivers;
    QList<SimulatedAdapter> adapters;
    QList<SimulatedDeviceNode> deviceNodes;
    SimulatedKernelSettings kernel;

    /// Reads `pc.json` of the folder. Throws std::runtime_error with one line that names the file,
    /// the key and what was expected.
    static SimulatedPc load(const QString &folder);
};
