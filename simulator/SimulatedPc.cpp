#include "simulator/SimulatedPc.h"

#include "platform/KernelApi.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <functional>
#include <limits>
#include <stdexcept>

namespace
{

[[noreturn]] void refuse(const QString &place, const QString &expected, const QString &found)
{
    QString line = QString("%1: expected %2, found %3").arg(place, expected, found);
    line.replace(u'\n', u' ').replace(u'\r', u' ');
    throw std::runtime_error(line.toLocal8Bit().toStdString());
}

/// A value of the file, with the path of keys that leads to it.
struct Json {
    QString file;
    QString path;
    QJsonValue value;

    Json member(const QString &key) const
    {
        const QString memberPath = path.isEmpty() ? key : path + u'.' + key;
        return {file, memberPath, value.toObject().value(key)};
    }

    Json element(qsizetype index) const
    {
        return {file, QString("%1[%2]").arg(path).arg(index), value.toArray().at(index)};
    }

    /// Reports the value, unless something else is given as found.
    [[noreturn]] void refuse(const QString &expected, QString found = {}) const
    {
        const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
        if (found.isEmpty())
            found = QString::fromUtf8(list.mid(1, list.size() - 2));
        ::refuse(path.isEmpty() ? file : file + ": " + path, expected, found);
    }
};

/// A key that an object may have, and what is done with its value.
struct Key {
    QString name;
    std::function<void(const Json &)> read;
};

void readObject(const Json &json, const QList<Key> &keys, const QString &kind = "keys")
{
    if (!json.value.isObject())
        json.refuse("an object");

    QStringList names;
    for (const Key &key : keys)
        names.append(key.name);
    const QJsonObject object = json.value.toObject();
    for (const QString &name : object.keys()) {
        if (!names.contains(name))
            json.refuse("no " + kind + " other than " + names.join(", "), u'"' + name + u'"');
    }

    for (const Key &key : keys) {
        if (object.contains(key.name))
            key.read(json.member(key.name));
    }
}

template <typename Number>
void readNumber(const Json &json, Number &number, qint64 smallest, qint64 largest)
{
    const qint64 value = json.value.toInteger(smallest - 1);
    if (value < smallest || value > largest)
        json.refuse(QString("a whole number from %1 to %2").arg(smallest).arg(largest));
    number = static_cast<Number>(value);
}

/// Codes are written as numbers, or as texts where hexadecimal digits read better.
void readCode(const Json &json, std::uint32_t &code)
{
    constexpr qint64 largest = std::numeric_limits<std::uint32_t>::max();
    if (!json.value.isString())
        return readNumber(json, code, 1, largest);

    const QString text = json.value.toString();
    bool isNumber = false;
    const qint64 value = text.mid(2).toLongLong(&isNumber, 16);
    if (!text.startsWith("0x") || !isNumber || value < 1 || value > largest)
        json.refuse(R"(a code from 1 to 4294967295, or a text such as "0x10160000")");
    code = static_cast<std::uint32_t>(value);
}

template <typename Number>
Key numberKey(const QString &name, Number &number, qint64 smallest, qint64 largest)
{
    return {name, [=, &number](const Json &json) { readNumber(json, number, smallest, largest); }};
}

/// Returns a key whose value is read as its type says.
template <typename Value>
Key key(const QString &name, Value &value)
{
    return {name, [&value](const Json &json) { read(json, value); }};
}

void read(const Json &json, QString &text)
{
    if (!json.value.isString())
        json.refuse("a text");
    text = json.value.toString();
}

template <typename Value>
void read(const Json &json, std::optional<Value> &value)
{
    read(json, value.emplace());
}

template <typename Element>
void read(const Json &json, QList<Element> &list)
{
    if (!json.value.isArray())
        json.refuse("a list");
    for (qsizetype index = 0; index < json.value.toArray().size(); ++index)
        read(json.element(index), list.emplaceBack());
}

void read(const Json &json, SimulatedAdapter &adapter)
{
    constexpr qint64 unlimited = std::numeric_limits<qint64>::max();
    readObject(json, {
                         key("description", adapter.description),
                         numberKey("ifType", adapter.ifType, 1, 0xFFFF),
                         numberKey("operStatus", adapter.operStatus, 1, 7),
                         numberKey("transmitLinkSpeed", adapter.transmitLinkSpeed, 0, unlimited),
                     });
}

void read(const Json &json, SimulatedDeviceNode &node)
{
    readObject(json, {
                         key("friendlyName", node.friendlyName),
                         key("hardwareIds", node.hardwareIds),
                         key("description", node.description),
                         key("location", node.location),
                     });
}

void read(const Json &json, SimulatedKernelDevice &device)
{
    readObject(json, {
                         key("id", device.id),
                         key("friendlyName", device.friendlyName),
                         key("description", device.description),
                     });
}

/// Reads the codes that operations fail with, by ordinal.
void read(const Json &json, QMap<int, std::uint32_t> &failures)
{
    QList<Key> keys;
    platform::KernelApi().forEach([&](const auto &operation) {
        const int ordinal = operation.ordinal;
        keys.append({QString::number(ordinal), [&failures, ordinal](const Json &code) {
                         readCode(code, failures[ordinal]);
                     }});
    });
    readObject(json, keys, "ordinals");
}

void read(const Json &json, SimulatedKernelSettings &kernel)
{
    constexpr int hourMs = 3'600'000;
    readObject(json, {
                         numberKey("openDelayMs", kernel.openDelayMs, 0, hourMs),
                         key("devices", kernel.devices),
                         key("unlistedDevices", kernel.unlistedDevices),
                         key("failures", kernel.failures),
                         {"endCode", [&](const Json &code) { readCode(code, kernel.endCode); }},
                         key("errorName", kernel.errorName),
                         key("errorText", kernel.errorText),
                     });
}

void readFolderName(const Json &json, QString &name)
{
    read(json, name);
    if (name.isEmpty() || name.contains(u'/') || name.contains(u'\\') || name.startsWith(u'.'))
        json.refuse("the name of a folder");
}

void read(const Json &json, SimulatedPc &pc)
{
    readObject(json, {
                         {"userName", [&](const Json &name) { readFolderName(name, pc.userName); }},
                         key("loadedDrivers", pc.loadedDrivers),
                         key("adapters", pc.adapters),
                         key("deviceNodes", pc.deviceNodes),
                         key("kernel", pc.kernel),
                     });
}

QJsonValue readDocument(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        refuse(path, "a file that can be read", file.errorString());

    const QByteArray content = file.readAll();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(content, &error);
    if (error.error != QJsonParseError::NoError) {
        const auto line = content.left(error.offset).count('\n') + 1;
        refuse(path, "JSON", QString("\"%1\" in line %2").arg(error.errorString()).arg(line));
    }
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

} // namespace

SimulatedPc SimulatedPc::load(const QString &folder)
{
    const QString path = QFileInfo(folder).absoluteFilePath();
    if (!QFileInfo(path).isDir())
        refuse(path, "the folder of a simulated PC", "no folder");

    SimulatedPc pc;
    pc.folder = path;
    const QString file = path + "/pc.json";
    read(Json{file, {}, readDocument(file)}, pc);
    if (!QFileInfo(path + "/C").isDir())
        refuse(path + "/C", "the folder of drive C:", "no folder");
    return pc;
}
