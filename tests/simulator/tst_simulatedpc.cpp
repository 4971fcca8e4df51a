#include "simulator/SimulatedPc.h"

#include "tests/support/DataRows.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <stdexcept>

namespace
{

/// A folder with a drive C: and a pc.json.
class PcFolder
{
public:
    explicit PcFolder(const QByteArray &json)
    {
        QDir(path()).mkdir("C");
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

class SimulatedPcTest : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryKey();
    void keepsDefaultsWhereKeysAreMissing();
    void tellsMissingPropertiesFromEmptyOnes();
    void readsCodes_data();
    void readsCodes();
    void readsFileWithByteOrderMark();
    void makesTheFolderAbsolute();
    void refusesContent_data();
    void refusesContent();
    void refusesBrokenJson_data();
    void refusesBrokenJson();
    void refusesWhatIsMissing();
};

void SimulatedPcTest::readsEveryKey()
{
    const PcFolder folder(R"({
        "userName": "user2",
        "loadedDrivers": ["ntoskrnl.exe", "Orvanta-BRVX.sys"],
        "adapters": [
            {"description": "LAN", "ifType": 71, "operStatus": 2,
             "transmitLinkSpeed": 9223372036854775807}
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
        }
    })");
    const SimulatedPc pc = folder.load();

    QCOMPARE(pc.folder, folder.path());
    QCOMPARE(pc.userName, "user2");
    QCOMPARE(pc.loadedDrivers, QStringList({"ntoskrnl.exe", "Orvanta-BRVX.sys"}));

    QCOMPARE(pc.adapters.size(), 1);
    QCOMPARE(pc.adapters[0].description, "LAN");
    QCOMPARE(pc.adapters[0].ifType, 71U);
    QCOMPARE(pc.adapters[0].operStatus, 2U);
    QCOMPARE(pc.adapters[0].transmitLinkSpeed, 9'223'372'036'854'775'807U);

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
}

void SimulatedPcTest::keepsDefaultsWhereKeysAreMissing()
{
    const SimulatedPc pc = PcFolder(R"({"adapters": [{}], "kernel": {}})").load();

    QCOMPARE(pc.userName, "user1");
    QVERIFY(pc.loadedDrivers.isEmpty());
    QVERIFY(pc.deviceNodes.isEmpty());

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

void SimulatedPcTest::tellsMissingPropertiesFromEmptyOnes()
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

void SimulatedPcTest::readsCodes_data()
{
    const DataRows<QByteArray, std::uint32_t> row("json", "code");
    row("number", "269877248", 0x10160000);
    row("text", R"("0x10160000")", 0x10160000);
    row("lower-case digits", R"("0x101f0000")", 0x101F0000);
    row("smallest", "1", 1);
    row("largest number", "4294967295", 0xFFFFFFFF);
    row("largest text", R"("0xFFFFFFFF")", 0xFFFFFFFF);
}

void SimulatedPcTest::readsCodes()
{
    QFETCH(const QByteArray, json);
    QFETCH(const std::uint32_t, code);

    const PcFolder folder(inKernel(R"({"endCode": )" + json + "}"));
    QCOMPARE(folder.load().kernel.endCode, code);
}

void SimulatedPcTest::readsFileWithByteOrderMark()
{
    const PcFolder folder("\xEF\xBB\xBF{\"userName\": \"J\xC3\xBCrgen\"}");
    QCOMPARE(folder.load().userName, QString::fromUtf8("J\xC3\xBCrgen"));
}

void SimulatedPcTest::makesTheFolderAbsolute()
{
    const PcFolder folder("{}");
    const QString relative = QDir::current().relativeFilePath(folder.path());
    QCOMPARE(QDir(SimulatedPc::load(relative).folder), QDir(folder.path()));
    QVERIFY(QDir::isAbsolutePath(SimulatedPc::load(relative).folder));
}

void SimulatedPcTest::refusesContent_data()
{
    const DataRows<QByteArray, QString> row("json", "refused");
    const auto refused = [&](const QByteArray &json, const QString &place,
                             const QString &expected) {
        row(json, json, place + ": expected " + expected);
    };
    // One row for each of the readers.
    refused(R"({"adapters": ["LAN"]})", ": adapters[0]", R"(an object, found "LAN")");
    // The text stays in one line.
    refused(R"({"first\nsecond\r\nthird": "a\nb"})", "",
            "no keys other than userName, loadedDrivers, adapters, deviceNodes, kernel, found "
            "\"first second  third\"");
    refused(R"({"loadedDrivers": ["a", null]})", ": loadedDrivers[1]", "a text, found null");
    refused(R"({"loadedDrivers": "a"})", ": loadedDrivers", R"(a list, found "a")");
    for (const char *name : {"", "a/b", R"(a\\b)", ".."}) {
        const QByteArray json = QByteArray("\"") + name + '"';
        refused(R"({"userName": )" + json + "}", ": userName",
                "the name of a folder, found " + json);
    }
    refused(R"({"adapters": [{"transmitLinkSpeed": 1.5}]})", ": adapters[0].transmitLinkSpeed",
            "a whole number from 0 to 9223372036854775807, found 1.5");
    refused(inKernel(R"({"openDelayMs": 3600001})"), ": kernel.openDelayMs",
            "a whole number from 0 to 3600000, found 3600001");
    refused(inKernel(R"({"failures": {"17": 1}})"), ": kernel.failures",
            "no ordinals other than 13, 14, 16, 19, 29, 37, 38, 55, 56, 130, 182, 200, 512, 572, "
            "found \"17\"");
    refused(inKernel(R"({"failures": {"13": 0}})"), ": kernel.failures.13",
            "a whole number from 1 to 4294967295, found 0");
    for (const char *text : {"101F0000", "0x0", "0x100000000", "0xfails"}) {
        const QByteArray json = QByteArray("\"") + text + '"';
        refused(inKernel(R"({"endCode": )" + json + "}"), ": kernel.endCode",
                R"(a code from 1 to 4294967295, or a text such as "0x10160000", found )" + json);
    }
}

void SimulatedPcTest::refusesContent()
{
    QFETCH(const QByteArray, json);
    QFETCH(const QString, refused);

    const PcFolder folder(json);
    QCOMPARE(refusal(folder.path()), folder.path() + "/pc.json" + refused);
}

void SimulatedPcTest::refusesBrokenJson_data()
{
    const DataRows<QByteArray, QString> row("json", "line");
    row("empty file", "", " in line 1");
    row("missing value", "{\n\"kernel\": }", " in line 2");
    row("missing end", "{\n\n\"userName\": \"a\"", " in line 3");
    row("text alone", "pc", " in line 1");
}

void SimulatedPcTest::refusesBrokenJson()
{
    QFETCH(const QByteArray, json);
    QFETCH(const QString, line);

    const PcFolder folder(json);
    const QString found = refusal(folder.path());
    const QString expected = folder.path() + "/pc.json: expected JSON, found \"";
    QVERIFY2(found.startsWith(expected), qPrintable(found));
    QVERIFY2(found.endsWith(line), qPrintable(found));
}

void SimulatedPcTest::refusesWhatIsMissing()
{
    const PcFolder folder("{}");
    const QString none = folder.path() + "/none";
    QCOMPARE(refusal(none), none + ": expected the folder of a simulated PC, found no folder");
    QVERIFY(QDir(folder.path()).rmdir("C"));
    QCOMPARE(refusal(folder.path()),
             folder.path() + "/C: expected the folder of drive C:, found no folder");
    QVERIFY(QFile::remove(folder.path() + "/pc.json"));
    const QString expected = folder.path() + "/pc.json: expected a file that can be read, found ";
    QVERIFY2(refusal(folder.path()).startsWith(expected), qPrintable(refusal(folder.path())));
}

QTEST_GUILESS_MAIN(SimulatedPcTest)
#include "tst_simulatedpc.moc"
