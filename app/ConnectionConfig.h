#pragma once

#include <QList>
#include <QStringList>

#include <string>
#include <vector>

/// Name of the connection configuration file.
inline constexpr char connectionConfigFileName[] = "orvanta_config.txt";

/// Returns the lines of the connection configuration file, without their line ends; a file that
/// ends with a line end gives a last, empty line. Empty when there is no file or it cannot be read.
std::vector<std::string> readConfigLines();

/// Returns the configured connections in file order, each as the list of its port identifiers.
/// Empty when nothing is configured.
QList<QStringList> readConnectionConfig();
