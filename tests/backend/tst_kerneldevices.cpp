#include "backend/GEVBackendOrvanta.h"

#include "platform/KernelApi.h"
#include "simulator/SimulatedMachine.h"
#include "tests/support/DataRows.h"
#include "tests/support/Faults.h"
#include "tests/support/ProgramTexts.h"
#include "tests/support/StandardOutput.h"

#include <QTest>

#include <algorithm>

using platform::DeviceInfo;
using platform::kernelApi;

namespace
{

constexpr std::uint32_t noSuchDevice = 0x101F0000;

/// A session that is open on a simulated PC.
struct Session {
    explicit Session(const SimulatedPc &pc) : machine(pc), backend(true, true, "")
    {
        backend.open();
    }

    /// Has the devices listed and returns what that prints.
    QByteArray enumerate()
    {
        return printedBy([this] { backend.enumerateDevices(); });
    }

    QList<int> flagsB() const
    {
        QList<int> flags;
        for (const AdapterInfo &device : backend.devices())
            flags.append(device.flagB);
        return flags;
    }

    SimulatedMachine machine;
    DPL::GEVBackendOrvanta backend;
};

SimulatedPc pcWithDevices(const QStringList &friendlyNames)
{
    SimulatedPc pc;
    for (const QString &friendlyName : friendlyNames) {
        const QString number = QString::number(pc.kernel.devices.size() + 1);
        pc.kernel.devices.append({"DEVICE-" + number, friendlyName, "Card " + number});
    }
    return pc;
}

} // namespace

class KernelDevicesTest : public QObject
{
    Q_OBJECT

private slots:
    void countsTheDevicesThatBearTheName_data();
    void countsTheDevicesThatBearTheName();
    void countsInEightBits();
    void endsBehindTheLastDevice_data();
    void endsBehindTheLastDevice();
    void choosesTheTexts_data();
    void choosesTheTexts();
    void readsUnterminatedTextsNoFurtherThanTheirField_data();
    void readsUnterminatedTextsNoFurtherThanTheirField();
    void readsAnUnterminatedIdentifierNoFurtherThanItsBuffer();
};

void KernelDevicesTest::countsTheDevicesThatBearTheName_data()
{
    const DataRows<QStringList, QList<int>> row("names", "flags");
    row("second and fourth", {"Card", "Orvanta card", "Card", "Orvanta card"}, {0, 0, 1, 1});
    row("at any position",
        {"Orvanta", "The Orvanta card", "TheOrvantaCard", "Card by Orvanta", "Last"},
        {0, 1, 2, 3, 4});
    row("in other capitals", {"orvanta", "ORVANTA", "Orvant", "Last"}, {0, 0, 0, 0});
}

void KernelDevicesTest::countsTheDevicesThatBearTheName()
{
    QFETCH(QStringList, names);

    Session session(pcWithDevices(names));
    session.enumerate();
    QTEST(session.flagsB(), "flags");
    // Each listing forgets the one before it.
    session.enumerate();
    QTEST(session.flagsB(), "flags");
}

void KernelDevicesTest::countsInEightBits()
{
    Session session(pcWithDevices(QStringList(258, "Orvanta")));
    session.enumerate();
    QCOMPARE(session.flagsB().mid(255), QList<int>({255, 0, 1}));
}

void KernelDevicesTest::endsBehindTheLastDevice_data()
{
    const DataRows<int, std::uint32_t, QByteArray> row("deviceCount", "endCode", "output");
    const auto reported = [](const QByteArray &code) {
        return "ERROR (" + code +
               " = 'EXAMPLE_ERROR') -\n"
               "  OV_enumDevicesEx: Unable to query network device name!\n\n";
    };
    row("no device", 0, noSuchDevice, noDevices);
    row("no device, with low bits", 0, 0x101FFFFF, noDevices);
    row("no device, with the highest bits", 0, 0xD01F0001, noDevices);
    row("three devices", 3, noSuchDevice, "");
    row("failure at once", 0, noAccess, reported("10160000"));
    row("failure behind two devices", 2, noAccess, reported("10160000"));
    row("other bits of the end code", 0, 0x301F0000, reported("301F0000"));
    row("next to the end code", 0, 0x101E0000, reported("101E0000"));
}

void KernelDevicesTest::endsBehindTheLastDevice()
{
    QFETCH(int, deviceCount);
    QFETCH(std::uint32_t, endCode);

    SimulatedPc pc = pcWithDevices(QStringList(deviceCount, "Card"));
    pc.kernel.endCode = endCode;
    Session session(pc);

    QTEST(session.enumerate(), "output");
    QCOMPARE(session.backend.devices().size(), static_cast<std::size_t>(deviceCount));
}

void KernelDevicesTest::choosesTheTexts_data()
{
    const DataRows<QByteArray, QByteArray, QByteArray> row("deviceId", "name", "description");
    row("friendly name", "A", "Friendly", "Description");
    row("no friendly name", "B", "Description", "Description");
    row("device that is not listed", "C", "Hidden", "Description");
    row("no description", "D", "Friendly", "");
    row("neither", "E", "", "");
    row("unknown device", "X", "X", "X");
}

void KernelDevicesTest::choosesTheTexts()
{
    QFETCH(QByteArray, deviceId);

    SimulatedPc pc;
    pc.kernel.devices = {{"A", "Friendly", "Description"},
                         {"B", "", "Description"},
                         {"D", "Friendly", ""},
                         {"E", "", ""}};
    pc.kernel.unlistedDevices = {{"C", "Hidden", "Description"}};
    const Session session(pc);
    const std::string id = deviceId.toStdString();

    QTEST(QByteArray::fromStdString(session.backend.queryDeviceName(id)), "name");
    QTEST(QByteArray::fromStdString(session.backend.queryDeviceDescription(id)), "description");
}

void KernelDevicesTest::readsUnterminatedTextsNoFurtherThanTheirField_data()
{
    const DataRows<QByteArray, QByteArray, QByteArray> row("descriptionField", "friendlyNameField",
                                                           "name");
    const QByteArray fullDescription(sizeof(DeviceInfo::description), 'd');
    const QByteArray fullFriendlyName(sizeof(DeviceInfo::friendlyName), 'f');
    const QByteArray none;
    row("description", fullDescription, "Port", "Port");
    row("friendly name", "Card", fullFriendlyName, fullFriendlyName);
    row("description as the name", fullDescription, none, fullDescription);
    row("both", fullDescription, fullFriendlyName, fullFriendlyName);
}

void KernelDevicesTest::readsUnterminatedTextsNoFurtherThanTheirField()
{
    QFETCH(QByteArray, descriptionField);
    QFETCH(QByteArray, friendlyNameField);

    const Session session{SimulatedPc()};
    kernelApi().queryDeviceInformation.function = [&](auto, DeviceInfo *info, auto) {
        std::copy(descriptionField.begin(), descriptionField.end(), info->description);
        std::copy(friendlyNameField.begin(), friendlyNameField.end(), info->friendlyName);
        return 0U;
    };

    QTEST(QByteArray::fromStdString(session.backend.queryDeviceName("A")), "name");
    QTEST(QByteArray::fromStdString(session.backend.queryDeviceDescription("A")),
          "descriptionField");
}

void KernelDevicesTest::readsAnUnterminatedIdentifierNoFurtherThanItsBuffer()
{
    Session session{SimulatedPc()};
    kernelApi().OV_enumDevicesEx.function = [](auto, auto, auto, std::uint32_t index,
                                               char *deviceId, auto) {
        if (index > 0)
            return noSuchDevice;
        std::fill_n(deviceId, 256, 'i');
        return 0U;
    };
    session.enumerate();

    QCOMPARE(session.backend.devices().size(), std::size_t{1});
    QCOMPARE(session.backend.devices()[0].deviceId, std::string(256, 'i'));
}

QTEST_GUILESS_MAIN(KernelDevicesTest)

#include "tst_kerneldevices.moc"
