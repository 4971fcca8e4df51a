#include "backend/GEVBackendOrvanta.h"

#include "discovery/AdapterInfo.h"
#include "platform/KernelApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/StandardOutput.h"

#include <QTest>

#include <algorithm>
#include <cstring>

using DPL::GEVBackendOrvanta;
using platform::kernelApi;

namespace
{

constexpr std::uint32_t noAccess = 0x10160000;

constexpr std::size_t descriptionOffset = 84;
constexpr std::size_t descriptionSize = 160;
constexpr std::size_t friendlyNameOffset = 244;
constexpr std::size_t friendlyNameSize = 960;

SimulatedPc pcWithDevices(const QStringList &friendlyNames)
{
    SimulatedPc pc;
    for (const QString &friendlyName : friendlyNames) {
        const QString number = QString::number(pc.kernel.devices.size() + 1);
        pc.kernel.devices.append({"DEVICE-" + number, friendlyName, "Card " + number});
    }
    return pc;
}

/// Has the devices listed and returns what that prints.
QByteArray enumerate(GEVBackendOrvanta &backend)
{
    return printedBy([&] { backend.enumerateDevices(); });
}

QList<int> flagsB(const GEVBackendOrvanta &backend)
{
    QList<int> flags;
    for (const AdapterInfo &device : backend.devices())
        flags.append(device.flagB);
    return flags;
}

QStringList identifiers(const GEVBackendOrvanta &backend)
{
    QStringList texts;
    for (const AdapterInfo &device : backend.devices())
        texts.append(QString::fromStdString(device.deviceId));
    return texts;
}

/// Has each device query fill the fields with texts that lack their NUL where they are long enough.
void answerQueriesWith(const QByteArray &description, const QByteArray &friendlyName)
{
    kernelApi().queryDeviceInformation.function = [=](const char *, void *record, std::uint32_t) {
        auto *bytes = static_cast<char *>(record);
        std::copy(description.begin(), description.end(), bytes + descriptionOffset);
        std::copy(friendlyName.begin(), friendlyName.end(), bytes + friendlyNameOffset);
        return 0U;
    };
}

} // namespace

class TestKernelDevices : public QObject
{
    Q_OBJECT

private slots:
    void listsTheDevices();
    void callsTheKernelInOrder();
    void fallsBackToTheIdentifier();
    void forgetsTheDevicesOfTheLastListing();
    void countsTheDevicesThatBearTheName_data();
    void countsTheDevicesThatBearTheName();
    void countsInEightBits();
    void saysThatThereIsNoDevice_data();
    void saysThatThereIsNoDevice();
    void saysNothingBehindTheLastDevice();
    void reportsAnyOtherCode_data();
    void reportsAnyOtherCode();
    void choosesTheName_data();
    void choosesTheName();
    void choosesTheDescription_data();
    void choosesTheDescription();
    void passesARecordOfTheRightSize();
    void readsUnterminatedTextsNoFurtherThanTheirField_data();
    void readsUnterminatedTextsNoFurtherThanTheirField();
    void readsAnUnterminatedIdentifierNoFurtherThanItsBuffer();
};

void TestKernelDevices::listsTheDevices()
{
    SimulatedPc pc;
    pc.kernel.devices = {{"DEVICE-A", "Port one", "Example 10G Ethernet"},
                         {"DEVICE-B", "", "Example 10G Ethernet"}};
    const SimulatedMachine machine(pc);
    GEVBackendOrvanta backend(true, true, "");
    backend.open();

    QCOMPARE(enumerate(backend), QByteArray());

    const std::vector<AdapterInfo> devices = backend.devices();
    QCOMPARE(devices.size(), std::size_t{2});
    QCOMPARE(devices[0].deviceId, std::string("DEVICE-A"));
    QCOMPARE(devices[0].name, std::string("Port one"));
    QCOMPARE(devices[0].description, std::string("Example 10G Ethernet"));
    QCOMPARE(devices[0].pciSlot, 0xFFFFFFFFU);
    QCOMPARE(devices[0].pciPort, 0xFFFFFFFFU);
    QCOMPARE(devices[0].flagA, std::uint8_t{0});
    QCOMPARE(devices[0].flagB, std::uint8_t{0});
    QCOMPARE(devices[1].deviceId, std::string("DEVICE-B"));
    QCOMPARE(devices[1].name, std::string("Example 10G Ethernet"));
    QCOMPARE(devices[1].description, std::string("Example 10G Ethernet"));
}

void TestKernelDevices::callsTheKernelInOrder()
{
    SimulatedMachine machine(pcWithDevices({"First", "Second"}));
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    const qsizetype before = machine.kernel().calls().size();
    enumerate(backend);

    const QStringList expected = {
        R"(OV_enumDevicesEx("NET", "PCI", null, 0, 0))",
        R"(queryDeviceInformation("DEVICE-1", 1204, 0))",
        R"(queryDeviceInformation("DEVICE-1", 1204, 0))",
        R"(OV_enumDevicesEx("NET", "PCI", null, 1, 0))",
        R"(queryDeviceInformation("DEVICE-2", 1204, 0))",
        R"(queryDeviceInformation("DEVICE-2", 1204, 0))",
        R"(OV_enumDevicesEx("NET", "PCI", null, 2, 0))",
    };
    QCOMPARE(machine.kernel().calls().mid(before), expected);
}

void TestKernelDevices::fallsBackToTheIdentifier()
{
    SimulatedPc pc = pcWithDevices({"First"});
    pc.kernel.failures[200] = noAccess;
    const SimulatedMachine machine(pc);
    GEVBackendOrvanta backend(true, true, "");
    backend.open();

    QCOMPARE(enumerate(backend), QByteArray());

    const std::vector<AdapterInfo> devices = backend.devices();
    QCOMPARE(devices.size(), std::size_t{1});
    QCOMPARE(devices[0].name, std::string("DEVICE-1"));
    QCOMPARE(devices[0].description, std::string("DEVICE-1"));
}

void TestKernelDevices::forgetsTheDevicesOfTheLastListing()
{
    const SimulatedMachine machine(pcWithDevices({"First", "Orvanta", "Third"}));
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    enumerate(backend);
    enumerate(backend);

    QCOMPARE(identifiers(backend), QStringList({"DEVICE-1", "DEVICE-2", "DEVICE-3"}));
    QCOMPARE(flagsB(backend), QList<int>({0, 0, 1}));
}

void TestKernelDevices::countsTheDevicesThatBearTheName_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QList<int>>("flags");

    QTest::newRow("second and fourth")
        << QStringList{"Card", "Orvanta card", "Card", "Orvanta card"} << QList<int>{0, 0, 1, 1};
    QTest::newRow("at any position")
        << QStringList{"Orvanta", "The Orvanta card", "TheOrvantaCard", "Card by Orvanta", "Last"}
        << QList<int>{0, 1, 2, 3, 4};
    QTest::newRow("in other capitals")
        << QStringList{"orvanta", "ORVANTA", "Orvant", "Last"} << QList<int>{0, 0, 0, 0};
}

void TestKernelDevices::countsTheDevicesThatBearTheName()
{
    QFETCH(QStringList, names);
    QFETCH(QList<int>, flags);

    const SimulatedMachine machine(pcWithDevices(names));
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    enumerate(backend);

    QCOMPARE(flagsB(backend), flags);
}

void TestKernelDevices::countsInEightBits()
{
    const SimulatedMachine machine(pcWithDevices(QStringList(258, "Orvanta")));
    GEVBackendOrvanta backend(true, true, "");
    backend.open();
    enumerate(backend);

    const QList<int> flags = flagsB(backend);
    QCOMPARE(flags.size(), 258);
    QCOMPARE(flags[255], 255);
    QCOMPARE(flags[256], 0);
    QCOMPARE(flags[257], 1);
}

void TestKernelDevices::saysThatThereIsNoDevice_data()
{
    QTest::addColumn<std::uint32_t>("endCode");

    QTest::newRow("no such device") << 0x101F0000U;
    QTest::newRow("with low bits") << 0x101FFFFFU;
    QTest::newRow("with the highest bits") << 0xD01F0001U;
}

void TestKernelDevices::saysThatThereIsNoDevice()
{
    QFETCH(std::uint32_t, endCode);

    SimulatedPc pc;
    pc.kernel.endCode = endCode;
    const SimulatedMachine machine(pc);
    GEVBackendOrvanta backend(true, true, "");
    backend.open();

    QCOMPARE(enumerate(backend), "No network adapters found!\n");
    QCOMPARE(identifiers(backend), QStringList());
}

void TestKernelDevices::saysNothingBehindTheLastDevice()
{
    const SimulatedMachine machine(pcWithDevices({"First", "Second", "Third"}));
    GEVBackendOrvanta backend(true, true, "");
    backend.open();

    QCOMPARE(enumerate(backend), QByteArray());
    QCOMPARE(identifiers(backend), QStringList({"DEVICE-1", "DEVICE-2", "DEVICE-3"}));
}

void TestKernelDevices::reportsAnyOtherCode_data()
{
    QTest::addColumn<int>("deviceCount");
    QTest::addColumn<std::uint32_t>("code");
    QTest::addColumn<QByteArray>("output");

    const auto report = [](const QByteArray &code) {
        return "ERROR (" + code +
               " = 'EXAMPLE_ERROR') -\n"
               "  OV_enumDevicesEx: Unable to query network device name!\n\n";
    };
    QTest::newRow("at once") << 0 << noAccess << report("10160000");
    QTest::newRow("behind two devices") << 2 << noAccess << report("10160000");
    QTest::newRow("other bits of the end code") << 0 << 0x301F0000U << report("301F0000");
    QTest::newRow("next to the end code") << 0 << 0x101E0000U << report("101E0000");
}

void TestKernelDevices::reportsAnyOtherCode()
{
    QFETCH(int, deviceCount);
    QFETCH(std::uint32_t, code);
    QFETCH(QByteArray, output);

    SimulatedPc pc = pcWithDevices(QStringList(deviceCount, "Card"));
    pc.kernel.endCode = code;
    const SimulatedMachine machine(pc);
    GEVBackendOrvanta backend(true, true, "");
    backend.open();

    QCOMPARE(enumerate(backend), output);
    QCOMPARE(backend.devices().size(), static_cast<std::size_t>(deviceCount));
}

void TestKernelDevices::choosesTheName_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QByteArray>("name");

    QTest::newRow("friendly name") << "A" << QByteArray("Friendly");
    QTest::newRow("description for an empty friendly name") << "B" << QByteArray("Description");
    QTest::newRow("device that is not listed") << "C" << QByteArray("Hidden");
    QTest::newRow("neither") << "D" << QByteArray("");
    QTest::newRow("unknown device") << "X" << QByteArray("X");
}

void TestKernelDevices::choosesTheName()
{
    QFETCH(QString, identifier);
    QFETCH(QByteArray, name);

    SimulatedPc pc;
    pc.kernel.devices = {{"A", "Friendly", "Description"}, {"B", "", "Description"}, {"D", "", ""}};
    pc.kernel.unlistedDevices = {{"C", "Hidden", "Description"}};
    const SimulatedMachine machine(pc);
    GEVBackendOrvanta backend(true, true, "");
    backend.open();

    QCOMPARE(QByteArray::fromStdString(backend.queryDeviceName(identifier.toStdString())), name);
}

void TestKernelDevices::choosesTheDescription_data()
{
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<QByteArray>("description");

    QTest::newRow("description") << "A" << QByteArray("Description");
    QTest::newRow("empty description") << "B" << QByteArray("");
    QTest::newRow("unknown device") << "X" << QByteArray("X");
}

void TestKernelDevices::choosesTheDescription()
{
    QFETCH(QString, identifier);
    QFETCH(QByteArray, description);

    SimulatedPc pc;
    pc.kernel.devices = {{"A", "Friendly", "Description"}, {"B", "Friendly", ""}};
    const SimulatedMachine machine(pc);
    GEVBackendOrvanta backend(true, true, "");
    backend.open();

    QCOMPARE(QByteArray::fromStdString(backend.queryDeviceDescription(identifier.toStdString())),
             description);
}

void TestKernelDevices::passesARecordOfTheRightSize()
{
    const SimulatedMachine machine{SimulatedPc()};
    QList<std::uint32_t> sizes;
    kernelApi().queryDeviceInformation.function = [&](const char *, void *record, std::uint32_t) {
        std::uint32_t size = 0;
        std::memcpy(&size, record, sizeof(size));
        sizes.append(size);
        std::memset(record, 0, 1204);
        return 0U;
    };
    const GEVBackendOrvanta backend(true, true, "");
    backend.queryDeviceName("A");
    backend.queryDeviceDescription("A");

    QCOMPARE(sizes, QList<std::uint32_t>({1204, 1204}));
}

void TestKernelDevices::readsUnterminatedTextsNoFurtherThanTheirField_data()
{
    QTest::addColumn<QByteArray>("descriptionField");
    QTest::addColumn<QByteArray>("friendlyNameField");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("description");

    const QByteArray fullDescription(descriptionSize, 'd');
    const QByteArray fullFriendlyName(friendlyNameSize, 'f');
    QTest::newRow("description") << fullDescription << QByteArray("Port") << QByteArray("Port")
                                 << fullDescription;
    QTest::newRow("friendly name")
        << QByteArray("Card") << fullFriendlyName << fullFriendlyName << QByteArray("Card");
    QTest::newRow("description in the place of the name")
        << fullDescription << QByteArray() << fullDescription << fullDescription;
    QTest::newRow("both") << fullDescription << fullFriendlyName << fullFriendlyName
                          << fullDescription;
}

void TestKernelDevices::readsUnterminatedTextsNoFurtherThanTheirField()
{
    QFETCH(QByteArray, descriptionField);
    QFETCH(QByteArray, friendlyNameField);
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, description);

    const SimulatedMachine machine{SimulatedPc()};
    answerQueriesWith(descriptionField, friendlyNameField);
    const GEVBackendOrvanta backend(true, true, "");

    QCOMPARE(QByteArray::fromStdString(backend.queryDeviceName("A")), name);
    QCOMPARE(QByteArray::fromStdString(backend.queryDeviceDescription("A")), description);
}

void TestKernelDevices::readsAnUnterminatedIdentifierNoFurtherThanItsBuffer()
{
    const SimulatedMachine machine{SimulatedPc()};
    kernelApi().OV_enumDevicesEx.function = [](const char *, const char *, void *,
                                               std::uint32_t index, char *identifier,
                                               std::uint32_t) {
        if (index > 0)
            return 0x101F0000U;
        std::fill_n(identifier, 256, 'i');
        return 0U;
    };
    GEVBackendOrvanta backend(true, true, "");
    enumerate(backend);

    QCOMPARE(identifiers(backend), QStringList(QString(256, 'i')));
}

QTEST_GUILESS_MAIN(TestKernelDevices)

#include "tst_kerneldevices.moc"
