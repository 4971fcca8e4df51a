#include "simulator/SimulatedPc.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <stdexcept>

namespace
{

/// A folder with a drive C: and, unless the content is null, a pc.json.
class PcFolder
{
public:
    explicit PcFolder(const QByteArray &json)
    {
        QDir(path()).mkdir("C");
        if (json.isNull())
            return;
        QFile file(path() + "/pc.json");
        if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size())
            qFatal("Expected %s to be writable", qPrintable(file.fileName()));
    }

    QString path() const { return m_folder.path(); }
    SimulatedPc load() const { return SimulatedPc::load(path()); }

private:
    QTemporaryDir m_folder;
};

/// Returns the text with which loading the folder fails, null when it does not.
QString refusal(const QString &folder)
{
    try {
        SimulatedPc::load(folder);
    } catch (const std::runtime_error &failure) {
        return QString::fromLocal8Bit(failure.what());
    }
    return {};
}

QByteArray inKernel(const QByteArray &json)
{
    return R"({"kernel": )" + json + "}";
}

} // namespace

class TestSimulatedPc : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryKey();
    void keepsDefaultsWhereKeysAreMissing();
    void tellsMissingPropertiesFromEmptyOnes();
    void readsCodes_data();
    void readsCodes();
    void readsLinkSpeedsOfMoreThan32Bits();
    void readsFileWithByteOrderMark();
    void makesTheFolderAbsolute();
    void refusesContent_data();
    void refusesContent();
    void refusesBrokenJson_data();
    void refusesBrokenJson();
    void refusesMissingFolder();
    void refusesMissingFile();
    void refusesMissingDrive();
    void refusesInOneLine();
};

void TestSimulatedPc::readsEveryKey()
{
    const PcFolder folder(R"({
        "userName": "user2",
        "loadedDrivers": ["ntoskrnl.exe", "Orvanta-BRVX.sys"],
        "adapters": [
            {"description": "LAN", "ifType": 71, "operStatus": 2, "transmitLinkSpeed": 100}
        ],
        "deviceNodes": [
            {"friendlyName": "Adapter", "hardwareIds": ["first", "second"],
             "description": "Ethernet", "location": "PCI bus 3, device 0, function 0"}
        ],
        "kernel": {
            "openDelayMs": 20,
            "devices": [{"id": "A", "friendlyName": "Adapter", "description": "Ethernet"}],
            "unlistedDevices": [{"id": "B", "friendlyName": "Other", "description": "Spare"}],
            "failures": {"13": "0x10160000", "182": 5},
            "endCode": "0x101F0001",
            "errorName": "NAME",
            "errorText": "text"
        },
        "windowsFailures": {"GetAdaptersAddresses": [111, 0, 232], "GetStdHandle": []}
    })");
    const SimulatedPc pc = folder.load();

    QCOMPARE(pc.folder, folder.path());
    QCOMPARE(pc.userName, "user2");
    QCOMPARE(pc.loadedDrivers, QStringList({"ntoskrnl.exe", "Orvanta-BRVX.sys"}));

    QCOMPARE(pc.adapters.size(), 1);
    QCOMPARE(pc.adapters[0].description, "LAN");
    QCOMPARE(pc.adapters[0].ifType, 71U);
    QCOMPARE(pc.adapters[0].operStatus, 2U);
    QCOMPARE(pc.adapters[0].transmitLinkSpeed, 100U);

    QCOMPARE(pc.deviceNodes.size(), 1);
    QCOMPARE(pc.deviceNodes[0].friendlyName, "Adapter");
    QCOMPARE(pc.deviceNodes[0].hardwareIds, QStringList({"first", "second"}));
    QCOMPARE(pc.deviceNodes[0].description, "Ethernet");
    QCOMPARE(pc.deviceNodes[0].location, "PCI bus 3, device 0, function 0");

    const SimulatedKernelSettings &kernel = pc.kernel;
    QCOMPARE(kernel.openDelayMs, 20);
    QCOMPARE(kernel.devices.size(), 1);
    QCOMPARE(kernel.devices[0].id, "A");
    QCOMPARE(kernel.devices[0].friendlyName, "Adapter");
    QCOMPARE(kernel.devices[0].description, "Ethernet");
    QCOMPARE(kernel.unlistedDevices.size(), 1);
    QCOMPARE(kernel.unlistedDevices[0].id, "B");
    QCOMPARE(kernel.failures, (QMap<int, std::uint32_t>{{13, 0x10160000}, {182, 5}}));
    QCOMPARE(kernel.endCode, 0x101F0001U);
    QCOMPARE(kernel.errorName, "NAME");
    QCOMPARE(kernel.errorText, "text");

    const QMap<QString, QList<std::uint32_t>> failures{{"GetAdaptersAddresses", {111, 0, 232}},
                                                       {"GetStdHandle", {}}};
    QCOMPARE(pc.windowsFailures, failures);
}

void TestSimulatedPc::keepsDefaultsWhereKeysAreMissing()
{
    const PcFolder folder(R"({"adapters": [{}], "kernel": {}})");
    const SimulatedPc pc = folder.load();

    QCOMPARE(pc.userName, "user1");
    QVERIFY(pc.loadedDrivers.isEmpty());
    QVERIFY(pc.deviceNodes.isEmpty());
    QVERIFY(pc.windowsFailures.isEmpty());

    QCOMPARE(pc.adapters.size(), 1);
    QCOMPARE(pc.adapters[0].description, "");
    QCOMPARE(pc.adapters[0].ifType, 6U);
    QCOMPARE(pc.adapters[0].operStatus, 1U);
    QCOMPARE(pc.adapters[0].transmitLinkSpeed, 1'000'000'000U);

    QCOMPARE(pc.kernel.openDelayMs, 0);
    QVERIFY(pc.kernel.devices.isEmpty());
    QVERIFY(pc.kernel.unlistedDevices.isEmpty());
    QVERIFY(pc.kernel.failures.isEmpty());
    QCOMPARE(pc.kernel.endCode, 0x101F0000U);
    QCOMPARE(pc.kernel.errorName, "EXAMPLE_ERROR");
    QCOMPARE(pc.kernel.errorText, "");
}

void TestSimulatedPc::tellsMissingPropertiesFromEmptyOnes()
{
    const PcFolder folder(R"({"deviceNodes": [{}, {"description": "", "hardwareIds": []}]})");
    const SimulatedPc pc = folder.load();

    QCOMPARE(pc.deviceNodes.size(), 2);
    QVERIFY(!pc.deviceNodes[0].friendlyName);
    QVERIFY(!pc.deviceNodes[0].hardwareIds);
    QVERIFY(!pc.deviceNodes[0].description);
    QVERIFY(!pc.deviceNodes[0].location);
    QCOMPARE(pc.deviceNodes[1].description, "");
    QCOMPARE(pc.deviceNodes[1].hardwareIds, QStringList());
}

void TestSimulatedPc::readsCodes_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<std::uint32_t>("code");

    QTest::newRow("number") << QByteArray("269877248") << 0x10160000U;
    QTest::newRow("text") << QByteArray(R"("0x10160000")") << 0x10160000U;
    QTest::newRow("lower-case digits") << QByteArray(R"("0x101f0000")") << 0x101F0000U;
    QTest::newRow("smallest") << QByteArray("1") << 1U;
    QTest::newRow("largest number") << QByteArray("4294967295") << 0xFFFFFFFFU;
    QTest::newRow("largest text") << QByteArray(R"("0xFFFFFFFF")") << 0xFFFFFFFFU;
}

void TestSimulatedPc::readsCodes()
{
    QFETCH(const QByteArray, json);
    QFETCH(const std::uint32_t, code);

    const PcFolder folder(inKernel(R"({"endCode": )" + json + "}"));
    QCOMPARE(folder.load().kernel.endCode, code);
}

void TestSimulatedPc::readsLinkSpeedsOfMoreThan32Bits()
{
    const PcFolder folder(R"({"adapters": [{"transmitLinkSpeed": 9223372036854775807}]})");
    QCOMPARE(folder.load().adapters[0].transmitLinkSpeed, 9'223'372'036'854'775'807U);
}

void TestSimulatedPc::readsFileWithByteOrderMark()
{
    const PcFolder folder("\xEF\xBB\xBF{\"userName\": \"J\xC3\xBCrgen\"}");
    QCOMPARE(folder.load().userName, QString::fromUtf8("J\xC3\xBCrgen"));
}

void TestSimulatedPc::makesTheFolderAbsolute()
{
    const PcFolder folder("{}");
    const QString relative = QDir::current().relativeFilePath(folder.path());
    QCOMPARE(QDir(SimulatedPc::load(relative).folder), QDir(folder.path()));
    QVERIFY(QDir::isAbsolutePath(SimulatedPc::load(relative).folder));
}

void TestSimulatedPc::refusesContent_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("refused");

    QTest::newRow("list") << QByteArray("[1]") << ": expected an object, found [1]";

    const QString pcKeys =
        "userName, loadedDrivers, adapters, deviceNodes, kernel, windowsFailures";
    QTest::newRow("unknown key")
        << QByteArray(R"({"kernels": {}})")
        << QString(R"(: expected no keys other than %1, found "kernels")").arg(pcKeys);
    QTest::newRow("key in other letters")
        << QByteArray(R"({"Adapters": []})")
        << QString(R"(: expected no keys other than %1, found "Adapters")").arg(pcKeys);

    const QString folderName = ": userName: expected the name of a folder, found ";
    QTest::newRow("user name, wrong type")
        << QByteArray(R"({"userName": 1})") << ": userName: expected a text, found 1";
    QTest::newRow("user name, empty") << QByteArray(R"({"userName": ""})") << folderName + R"("")";
    QTest::newRow("user name, path")
        << QByteArray(R"({"userName": "a/b"})") << folderName + R"("a/b")";
    QTest::newRow("user name, Windows path")
        << QByteArray(R"({"userName": "a\\b"})") << folderName + R"("a\\b")";
    QTest::newRow("user name, folder above")
        << QByteArray(R"({"userName": ".."})") << folderName + R"("..")";

    QTest::newRow("drivers, no list")
        << QByteArray(R"({"loadedDrivers": "ntoskrnl.exe"})")
        << R"(: loadedDrivers: expected a list, found "ntoskrnl.exe")";
    QTest::newRow("drivers, no text") << QByteArray(R"({"loadedDrivers": ["a", null]})")
                                      << ": loadedDrivers[1]: expected a text, found null";

    QTest::newRow("adapters, no list")
        << QByteArray(R"({"adapters": {}})") << ": adapters: expected a list, found {}";
    QTest::newRow("adapter, no object") << QByteArray(R"({"adapters": ["LAN"]})")
                                        << R"(: adapters[0]: expected an object, found "LAN")";
    QTest::newRow("adapter, unknown key")
        << QByteArray(R"({"adapters": [{}, {"speed": 1}]})")
        << ": adapters[1]: expected no keys other than description, ifType, operStatus, "
           "transmitLinkSpeed, found \"speed\"";
    QTest::newRow("adapter, description")
        << QByteArray(R"({"adapters": [{"description": true}]})")
        << ": adapters[0].description: expected a text, found true";
    QTest::newRow("adapter, type") << QByteArray(R"({"adapters": [{"ifType": 0}]})")
                                   << ": adapters[0].ifType: expected a whole number from 1 to "
                                      "65535, found 0";
    QTest::newRow("adapter, status below")
        << QByteArray(R"({"adapters": [{"operStatus": 0}]})")
        << ": adapters[0].operStatus: expected a whole number from 1 to 7, found 0";
    QTest::newRow("adapter, status above")
        << QByteArray(R"({"adapters": [{"operStatus": 8}]})")
        << ": adapters[0].operStatus: expected a whole number from 1 to 7, found 8";
    QTest::newRow("adapter, status as text")
        << QByteArray(R"({"adapters": [{"operStatus": "1"}]})")
        << R"(: adapters[0].operStatus: expected a whole number from 1 to 7, found "1")";
    QTest::newRow("adapter, negative speed")
        << QByteArray(R"({"adapters": [{"transmitLinkSpeed": -1}]})")
        << ": adapters[0].transmitLinkSpeed: expected a whole number from 0 to "
           "9223372036854775807, found -1";
    QTest::newRow("adapter, broken speed")
        << QByteArray(R"({"adapters": [{"transmitLinkSpeed": 1.5}]})")
        << ": adapters[0].transmitLinkSpeed: expected a whole number from 0 to "
           "9223372036854775807, found 1.5";

    QTest::newRow("device nodes, no list")
        << QByteArray(R"({"deviceNodes": 1})") << ": deviceNodes: expected a list, found 1";
    QTest::newRow("device node, unknown key")
        << QByteArray(R"({"deviceNodes": [{"hardwareId": ""}]})")
        << ": deviceNodes[0]: expected no keys other than friendlyName, hardwareIds, description, "
           "location, found \"hardwareId\"";
    QTest::newRow("device node, name")
        << QByteArray(R"({"deviceNodes": [{"friendlyName": null}]})")
        << ": deviceNodes[0].friendlyName: expected a text, found null";
    QTest::newRow("device node, identifiers")
        << QByteArray(R"({"deviceNodes": [{"hardwareIds": "PCI"}]})")
        << R"(: deviceNodes[0].hardwareIds: expected a list, found "PCI")";
    QTest::newRow("device node, one identifier")
        << QByteArray(R"({"deviceNodes": [{"hardwareIds": [["PCI"]]}]})")
        << R"(: deviceNodes[0].hardwareIds[0]: expected a text, found ["PCI"])";
    QTest::newRow("device node, description")
        << QByteArray(R"({"deviceNodes": [{"description": 1}]})")
        << ": deviceNodes[0].description: expected a text, found 1";
    QTest::newRow("device node, location")
        << QByteArray(R"({"deviceNodes": [{"location": {}}]})")
        << ": deviceNodes[0].location: expected a text, found {}";

    QTest::newRow("kernel, no object")
        << QByteArray(R"({"kernel": []})") << ": kernel: expected an object, found []";
    QTest::newRow("kernel, unknown key")
        << inKernel(R"({"delay": 1})")
        << ": kernel: expected no keys other than openDelayMs, devices, unlistedDevices, failures, "
           "endCode, errorName, errorText, found \"delay\"";
    QTest::newRow("kernel, negative delay")
        << inKernel(R"({"openDelayMs": -1})")
        << ": kernel.openDelayMs: expected a whole number from 0 to 3600000, found -1";
    QTest::newRow("kernel, long delay")
        << inKernel(R"({"openDelayMs": 3600001})")
        << ": kernel.openDelayMs: expected a whole number from 0 to 3600000, found 3600001";
    QTest::newRow("kernel device, identifier")
        << inKernel(R"({"devices": [{}, {}, {"id": 7}]})")
        << ": kernel.devices[2].id: expected a text, found 7";
    QTest::newRow("kernel device, name")
        << inKernel(R"({"devices": [{"friendlyName": 7}]})")
        << ": kernel.devices[0].friendlyName: expected a text, found 7";
    QTest::newRow("kernel device, unknown key")
        << inKernel(R"({"devices": [{"name": "A"}]})")
        << ": kernel.devices[0]: expected no keys other than id, friendlyName, description, found "
           "\"name\"";
    QTest::newRow("unlisted kernel device, description")
        << inKernel(R"({"unlistedDevices": [{"description": 7}]})")
        << ": kernel.unlistedDevices[0].description: expected a text, found 7";
    QTest::newRow("kernel failures, list")
        << inKernel(R"({"failures": [13]})") << ": kernel.failures: expected an object, found [13]";
    QTest::newRow("kernel failures, unknown ordinal")
        << inKernel(R"({"failures": {"17": 1}})")
        << ": kernel.failures: expected no ordinals other than 13, 14, 16, 19, 29, 37, 38, 55, 56, "
           "130, 182, 200, 512, 572, found \"17\"";
    QTest::newRow("kernel failures, success")
        << inKernel(R"({"failures": {"13": 0}})")
        << ": kernel.failures.13: expected a whole number from 1 to 4294967295, found 0";

    const QString code = R"(expected a code from 1 to 4294967295, or a text such as "0x10160000")";
    QTest::newRow("code, no hexadecimal digits")
        << inKernel(R"({"failures": {"13": "0xfails"}})")
        << QString(R"(: kernel.failures.13: %1, found "0xfails")").arg(code);
    QTest::newRow("code, no prefix")
        << inKernel(R"({"endCode": "101F0000"})")
        << QString(R"(: kernel.endCode: %1, found "101F0000")").arg(code);
    QTest::newRow("code, prefix alone") << inKernel(R"({"endCode": "0x"})")
                                        << QString(R"(: kernel.endCode: %1, found "0x")").arg(code);
    QTest::newRow("code, sign") << inKernel(R"({"endCode": "0x-1"})")
                                << QString(R"(: kernel.endCode: %1, found "0x-1")").arg(code);
    QTest::newRow("code, zero") << inKernel(R"({"endCode": "0x0"})")
                                << QString(R"(: kernel.endCode: %1, found "0x0")").arg(code);
    QTest::newRow("code, too large")
        << inKernel(R"({"endCode": "0x100000000"})")
        << QString(R"(: kernel.endCode: %1, found "0x100000000")").arg(code);
    QTest::newRow("code, number too large")
        << inKernel(R"({"endCode": 4294967296})")
        << ": kernel.endCode: expected a whole number from 1 to 4294967295, found 4294967296";
    QTest::newRow("error name") << inKernel(R"({"errorName": 1})")
                                << ": kernel.errorName: expected a text, found 1";
    QTest::newRow("error text") << inKernel(R"({"errorText": 1})")
                                << ": kernel.errorText: expected a text, found 1";

    QTest::newRow("Windows failures, unknown function")
        << QByteArray(R"({"windowsFailures": {"CreateFileW": [5]}})")
        << ": windowsFailures: expected no keys other than GetAdaptersAddresses, "
           "SetupDiGetClassDevsW, SetupDiEnumDeviceInfo, SetupDiGetDeviceRegistryPropertyA, "
           "K32EnumDeviceDrivers, K32GetDeviceDriverBaseNameA, GetStdHandle, "
           "GetConsoleScreenBufferInfo, SetConsoleTextAttribute, found \"CreateFileW\"";
    QTest::newRow("Windows failures, no list")
        << QByteArray(R"({"windowsFailures": {"GetStdHandle": 6}})")
        << ": windowsFailures.GetStdHandle: expected a list, found 6";
    QTest::newRow("Windows failures, negative")
        << QByteArray(R"({"windowsFailures": {"GetStdHandle": [6, -6]}})")
        << ": windowsFailures.GetStdHandle[1]: expected a whole number from 0 to 4294967295, found "
           "-6";
}

void TestSimulatedPc::refusesContent()
{
    QFETCH(const QByteArray, json);
    QFETCH(const QString, refused);

    const PcFolder folder(json);
    QCOMPARE(refusal(folder.path()), folder.path() + "/pc.json" + refused);
}

void TestSimulatedPc::refusesBrokenJson_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("line");

    QTest::newRow("empty file") << QByteArray("") << " in line 1";
    QTest::newRow("missing value") << QByteArray("{\n\"kernel\": }") << " in line 2";
    QTest::newRow("missing end") << QByteArray("{\n\n\"userName\": \"a\"") << " in line 3";
    QTest::newRow("text alone") << QByteArray("pc") << " in line 1";
}

void TestSimulatedPc::refusesBrokenJson()
{
    QFETCH(const QByteArray, json);
    QFETCH(const QString, line);

    const PcFolder folder(json);
    const QString found = refusal(folder.path());
    const QString expected = folder.path() + "/pc.json: expected JSON, found \"";
    QVERIFY2(found.startsWith(expected), qPrintable(found));
    QVERIFY2(found.endsWith(line), qPrintable(found));
}

void TestSimulatedPc::refusesMissingFolder()
{
    const PcFolder folder("{}");
    const QString path = folder.path() + "/none";
    QCOMPARE(refusal(path), path + ": expected the folder of a simulated PC, found no folder");
}

void TestSimulatedPc::refusesMissingFile()
{
    const PcFolder folder{QByteArray()};
    const QString expected = folder.path() + "/pc.json: expected a file that can be read, found ";
    QVERIFY2(refusal(folder.path()).startsWith(expected), qPrintable(refusal(folder.path())));
}

void TestSimulatedPc::refusesMissingDrive()
{
    const PcFolder folder("{}");
    QVERIFY(QDir(folder.path()).rmdir("C"));
    QCOMPARE(refusal(folder.path()),
             folder.path() + "/C: expected the folder of drive C:, found no folder");
}

void TestSimulatedPc::refusesInOneLine()
{
    const PcFolder folder(R"({"first\nsecond\r\nthird": "a\nb"})");
    const QString line = refusal(folder.path());
    QVERIFY2(line.endsWith("found \"first second  third\""), qPrintable(line));
    QVERIFY(!line.contains(u'\n'));
    QVERIFY(!line.contains(u'\r'));
}

QTEST_GUILESS_MAIN(TestSimulatedPc)
#include "tst_simulatedpc.moc"
