#pragma once

#include "simulator/SimulatedPc.h"

#include <QByteArray>
#include <QPair>
#include <QTemporaryDir>

/// A simulated PC in a folder of its own, removed with the object.
class TemporaryPc
{
public:
    /// A PC without driver and configuration file, but with the folders in which the file lies.
    TemporaryPc();

    /// A working copy of another PC.
    explicit TemporaryPc(const QString &folder);

    /// Returns the PC as it stands; tests change it before they hand it to a SimulatedMachine.
    SimulatedPc &pc() { return m_pc; }

    /// Puts the driver file into the system folder.
    void installDriver();

    /// Takes it out again.
    void removeDriver();

    /// Has the kernel report these ports, given by identifier and name. That of identifier "A" is
    /// described as "Description of A".
    void setPorts(const QList<QPair<QString, QString>> &ports);

    /// Returns the path of a file or folder on drive C:, as in `path("Users/Public")`.
    QString path(const QString &belowDrive) const;

    /// Returns the path of the connection configuration file.
    QString configPath() const;

    /// Writes the connection configuration file.
    void writeConfig(const QByteArray &content);

    /// Returns the content of the connection configuration file, null when there is none.
    QByteArray config() const;

private:
    QTemporaryDir m_folder;
    SimulatedPc m_pc;
};
