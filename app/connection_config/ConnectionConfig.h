#pragma once

#include <QList>
#include <QStringList>

#include <string>
#include <vector>

/// Name of the connection configuration file.
inline constexpr char connectionConfigFileName[] = "orvanta_config.txt";

/// Returns the text of a connection configuration file: a line for each Single Link, which is the
/// identifier of its port, and for each Dual Link, whose two are joined by ";", then an empty line.
QString connectionConfigText(const QStringList &singleLinks, const QStringList &dualLinks);

/// Returns the lines of the connection configuration file, without their line ends; a file that
/// ends with a line end gives a last, empty line. Empty when there is no file or it cannot be read.
std::vector<std::string> readConfigLines();

/// Returns the saved connections in file order, each as the list of its port identifiers. Empty
/// when nothing is saved.
QList<QStringList> readConnectionConfig();
