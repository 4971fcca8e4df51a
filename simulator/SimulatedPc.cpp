#include "simulator/SimulatedPc.h"

#include "platform/KernelApi.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <functional>
#include <initializer_list>
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

    [[noreturn]] void refuse(const QString &expected) const
    {
        const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
        refuse(expected, QString::fromUtf8(list.mid(1, list.size() - 2)));
    }

    [[noreturn]] void refuse(const QString &expected, const QString &found) const
    {
        ::refuse(path.isEmpty() ? file : file + ": " + path, expected, found);
    }

    void requireObject() const
    {
        if (!value.isObject())
            refuse("an object");
    }

    void requireArray() const
    {
        if (!value.isArray())
            refuse("a list");
    }
};

void readText(const Json &json, QString &text)
{
    if (!json.value.isString())
        json.refuse("a text");
    text = json.value.toString();
}

void readFolderName(const Json &json, QString &name)
{
    readText(json, name);
    if (name.isEmpty() || name.contains(u'/') || name.contains(u'\\') || name.startsWith(u'.'))
        json.refuse("the name of a folder");
}

template <typename Number>
void readNumber(const Json &json, Number &number, qint64 smallest, qint64 largest)
{
    const qint64 none = smallest - 1;
    const qint64 value = json.value.toInteger(none);
    if (value < smallest || value > largest)
        json.refuse(QString("a whole number from %1 to %2").arg(smallest).arg(largest));
    number = static_cast<Number>(value);
}

/// Codes are written as numbers, or as texts where hexadecimal digits read better.
void readCode(const Json &json, std::uint32_t &code, qint64 smallest)
{
    constexpr qint64 largest = std::numeric_limits<std::uint32_t>::max();
    if (!json.value.isString())
        return readNumber(json, code, smallest, largest);

    const QString text = json.value.toString();
    bool isNumber = false;
    const qint64 value = text.mid(2).toLongLong(&isNumber, 16);
    if (!text.startsWith("0x") || !isNumber || value < smallest || value > largest)
        json.refuse(QString(R"(a code from %1 to %2, or a text such as "0x10160000")")
                        .arg(smallest)
                        .arg(largest));
    code = static_cast<std::uint32_t>(value);
}

void readFailureCode(const Json &json, std::uint32_t &code)
{
    readCode(json, code, 1);
}

/// Results of Windows functions: 0 lets the call succeed.
void readResult(const Json &json, std::uint32_t &result)
{
    readCode(json, result, 0);
}

template <typename Element>
void readList(const Json &json, QList<Element> &list, void (*readElement)(const Json &, Element &))
{
    json.requireArray();
    for (qsizetype index = 0; index < json.value.toArray().size(); ++index) {
        Element element;
        readElement(json.element(index), element);
        list.append(element);
    }
}

/// A key that an object may have, and what is done with its value.
struct Key {
    QString name;
    std::function<void(const Json &)> read;
};

void readObject(const Json &json, std::initializer_list<Key> keys)
{
    json.requireObject();

    QStringList names;
    for (const Key &key : keys)
        names.append(key.name);
    for (const QString &name : json.value.toObject().keys()) {
        if (!names.contains(name))
            json.refuse("no keys other than " + names.join(", "), u'"' + name + u'"');
    }

    for (const Key &key : keys) {
        if (json.value.toObject().contains(key.name))
            key.read(json.member(key.name));
    }
}

Key textKey(const QString &name, QString &text)
{
    return {name, [&text](const Json &json) { readText(json, text); }};
}

Key optionalTextKey(const QString &name, std::optional<QString> &text)
{
    return {name, [&text](const Json &json) { readText(json, text.emplace()); }};
}

Key textListKey(const QString &name, QStringList &texts)
{
    return {name, [&texts](const Json &json) { readList(json, texts, readText); }};
}

template <typename Number>
Key numberKey(const QString &name, Number &number, qint64 smallest, qint64 largest)
{
    return {name, [=, &number](const Json &json) { readNumber(json, number, smallest, largest); }};
}

void readAdapter(const Json &json, SimulatedAdapter &adapter)
{
    constexpr qint64 unlimited = std::numeric_limits<qint64>::max();
    readObject(json, {
                         textKey("description", adapter.description),
                         numberKey("ifType", adapter.ifType, 1, 0xFFFF),
                         numberKey("operStatus", adapter.operStatus, 1, 7),
                         numberKey("transmitLinkSpeed", adapter.transmitLinkSpeed, 0, unlimited),
                     });
}

void readDeviceNode(const Json &json, SimulatedDeviceNode &node)
{
    const auto readIdentifiers = [&node](const Json &list) {
        readList(list, node.hardwareIds.emplace(), readText);
    };
    readObject(json, {
                         optionalTextKey("friendlyName", node.friendlyName),
                         {"hardwareIds", readIdentifiers},
                         optionalTextKey("description", node.description),
                         optionalTextKey("location", node.location),
                     });
}

void readKernelDevice(const Json &json, SimulatedKernelDevice &device)
{
    readObject(json, {
                         textKey("id", device.id),
                         textKey("friendlyName", device.friendlyName),
                         textKey("description", device.description),
                     });
}

QStringList kernelOrdinals()
{
    QStringList ordinals;
    platform::KernelApi().forEach([&ordinals](const auto &operation) {
        ordinals.append(QString::number(operation.ordinal));
    });
    return ordinals;
}

void readKernelFailures(const Json &json, QMap<int, std::uint32_t> &failures)
{
    json.requireObject();
    const QStringList ordinals = kernelOrdinals();
    for (const QString &key : json.value.toObject().keys()) {
        if (!ordinals.contains(key))
            json.refuse("no ordinals other than " + ordinals.join(", "), u'"' + key + u'"');
        readFailureCode(json.member(key), failures[key.toInt()]);
    }
}

void readKernel(const Json &json, SimulatedKernelSettings &kernel)
{
    constexpr int hourMs = 3'600'000;
    readObject(
        json,
        {
            numberKey("openDelayMs", kernel.openDelayMs, 0, hourMs),
            {"devices",
             [&](const Json &list) { readList(list, kernel.devices, readKernelDevice); }},
            {"unlistedDevices",
             [&](const Json &list) { readList(list, kernel.unlistedDevices, readKernelDevice); }},
            {"failures", [&](const Json &map) { readKernelFailures(map, kernel.failures); }},
            {"endCode", [&](const Json &code) { readFailureCode(code, kernel.endCode); }},
            textKey("errorName", kernel.errorName),
            textKey("errorText", kernel.errorText),
        });
}

void readWindowsFailures(const Json &json, QMap<QString, QList<std::uint32_t>> &failures)
{
    const auto key = [&failures](const QString &function) -> Key {
        return {function, [&failures, function](const Json &results) {
                    readList(results, failures[function], readResult);
                }};
    };
    readObject(json, {
                         key("GetAdaptersAddresses"),
                         key("SetupDiGetClassDevsW"),
                         key("SetupDiEnumDeviceInfo"),
                         key("SetupDiGetDeviceRegistryPropertyA"),
                         key("K32EnumDeviceDrivers"),
                         key("K32GetDeviceDriverBaseNameA"),
                         key("GetStdHandle"),
                         key("GetConsoleScreenBufferInfo"),
                         key("SetConsoleTextAttribute"),
                     });
}

void readPc(const Json &json, SimulatedPc &pc)
{
    readObject(
        json, {
                  {"userName", [&](const Json &name) { readFolderName(name, pc.userName); }},
                  textListKey("loadedDrivers", pc.loadedDrivers),
                  {"adapters", [&](const Json &list) { readList(list, pc.adapters, readAdapter); }},
                  {"deviceNodes",
                   [&](const Json &list) { readList(list, pc.deviceNodes, readDeviceNode); }},
                  {"kernel", [&](const Json &kernel) { readKernel(kernel, pc.kernel); }},
                  {"windowsFailures",
                   [&](const Json &map) { readWindowsFailures(map, pc.windowsFailures); }},
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
    readPc({file, {}, readDocument(file)}, pc);
    if (!QFileInfo(path + "/C").isDir())
        refuse(path + "/C", "the folder of drive C:", "no folder");
    return pc;
}
