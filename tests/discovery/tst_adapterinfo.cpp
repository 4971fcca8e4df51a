#include "discovery/AdapterInfo.h"

#include "discovery/EntryText.h"

#include <QTest>

#include <type_traits>

using namespace std::string_literals;

namespace
{

constexpr std::uint32_t unknown = 0xFFFFFFFF;

AdapterInfo adapterWithId(const std::string &deviceId)
{
    AdapterInfo adapter;
    adapter.deviceId = deviceId;
    return adapter;
}

} // namespace

class TestAdapterInfo : public QObject
{
    Q_OBJECT

private slots:
    void startsUnknown();
    void comparesIdentifiersAlone_data();
    void comparesIdentifiersAlone();
    void ignoresTheOtherFields();
    void isAPlainValue();
    void buildsTheEntryText_data();
    void buildsTheEntryText();
    void readsTheAdapterName_data();
    void readsTheAdapterName();
};

void TestAdapterInfo::startsUnknown()
{
    const AdapterInfo adapter;
    QCOMPARE(adapter.deviceId, std::string());
    QCOMPARE(adapter.name, std::string());
    QCOMPARE(adapter.description, std::string());
    QCOMPARE(adapter.pciSlot, unknown);
    QCOMPARE(adapter.pciPort, unknown);
    QCOMPARE(adapter.flagA, std::uint8_t{0});
    QCOMPARE(adapter.flagB, std::uint8_t{0});
}

void TestAdapterInfo::comparesIdentifiersAlone_data()
{
    QTest::addColumn<std::string>("first");
    QTest::addColumn<std::string>("second");
    QTest::addColumn<bool>("isEqual");

    QTest::newRow("same") << "DEVICE-A"s
                          << "DEVICE-A"s << true;
    QTest::newRow("both empty") << ""s
                                << ""s << true;
    QTest::newRow("other identifier") << "DEVICE-A"s
                                      << "DEVICE-B"s << false;
    QTest::newRow("letter case") << "DEVICE-A"s
                                 << "device-a"s << false;
    QTest::newRow("longer") << "DEVICE-A"s
                            << "DEVICE-AB"s << false;
    QTest::newRow("blank at the end") << "DEVICE-A"s
                                      << "DEVICE-A "s << false;
    QTest::newRow("difference behind a NUL") << "A\0B"s
                                             << "A\0C"s << false;
    QTest::newRow("longer by a NUL") << "A"s
                                     << "A\0"s << false;
}

void TestAdapterInfo::comparesIdentifiersAlone()
{
    QFETCH(std::string, first);
    QFETCH(std::string, second);
    QFETCH(bool, isEqual);

    QCOMPARE(adapterWithId(first) == adapterWithId(second), isEqual);
    QCOMPARE(adapterWithId(second) == adapterWithId(first), isEqual);
}

void TestAdapterInfo::ignoresTheOtherFields()
{
    const AdapterInfo first = {"DEVICE-A", "first", "one", 1, 2, 3, 4};
    const AdapterInfo second = {"DEVICE-A", "second", "two", 5, 6, 7, 8};
    QVERIFY(first == second);

    const AdapterInfo third = {"DEVICE-B", "first", "one", 1, 2, 3, 4};
    QVERIFY(!(first == third));
}

void TestAdapterInfo::isAPlainValue()
{
    QVERIFY(std::is_copy_constructible_v<AdapterInfo>);
    QVERIFY(std::is_copy_assignable_v<AdapterInfo>);
    QVERIFY(std::is_nothrow_move_constructible_v<AdapterInfo>);
    QVERIFY(std::is_aggregate_v<AdapterInfo>);

    // The order of the fields is the order of this list.
    const AdapterInfo original = {"id", "name", "description", 1, 2, 3, 4};
    const AdapterInfo copy(original);
    QCOMPARE(copy.deviceId, std::string("id"));
    QCOMPARE(copy.name, std::string("name"));
    QCOMPARE(copy.description, std::string("description"));
    QCOMPARE(copy.pciSlot, 1U);
    QCOMPARE(copy.pciPort, 2U);
    QCOMPARE(copy.flagA, std::uint8_t{3});
    QCOMPARE(copy.flagB, std::uint8_t{4});
}

void TestAdapterInfo::buildsTheEntryText_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<std::uint32_t>("slot");
    QTest::addColumn<std::uint32_t>("port");
    QTest::addColumn<QString>("entryText");

    QTest::newRow("slot and port")
        << "Example Adapter" << 0U << 1U << "Example Adapter. PCI Slot: 0, Port: 1";
    QTest::newRow("slot unknown") << "Example Adapter" << unknown << 1U << "Example Adapter";
    QTest::newRow("port unknown") << "Example Adapter" << 0U << unknown << "Example Adapter";
    QTest::newRow("both unknown") << "Example Adapter" << unknown << unknown << "Example Adapter";
    QTest::newRow("no padding") << "A" << 12U << 345U << "A. PCI Slot: 12, Port: 345";
    QTest::newRow("signed numbers")
        << "A" << 0x80000000U << 0xFFFFFFFEU << "A. PCI Slot: -2147483648, Port: -2";
    QTest::newRow("empty name") << "" << 0U << 0U << ". PCI Slot: 0, Port: 0";
    QTest::newRow("placeholders in the name")
        << "A %1 %2" << 3U << 4U << "A %1 %2. PCI Slot: 3, Port: 4";
}

void TestAdapterInfo::buildsTheEntryText()
{
    QFETCH(QString, name);
    QFETCH(std::uint32_t, slot);
    QFETCH(std::uint32_t, port);
    QFETCH(QString, entryText);

    QCOMPARE(adapterEntryText(name, slot, port), entryText);
}

void TestAdapterInfo::readsTheAdapterName_data()
{
    QTest::addColumn<QString>("entryText");
    QTest::addColumn<QString>("name");

    QTest::newRow("slot and port") << "Example Adapter. PCI Slot: 0, Port: 1"
                                   << "Example Adapter";
    QTest::newRow("name alone") << "Example Adapter"
                                << "Example Adapter";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("nothing before the slot") << ". PCI Slot: 0, Port: 1"
                                             << "";
    QTest::newRow("first of two") << "A. PCI Slot: 0, Port: 1. PCI Slot: 2, Port: 3"
                                  << "A";
    QTest::newRow("no colon") << "A. PCI Slot 0"
                              << "A. PCI Slot 0";
    QTest::newRow("other capitals") << "A. pci slot: 0"
                                    << "A. pci slot: 0";
    QTest::newRow("full stop in the name") << "A. B. PCI Slot: 0, Port: 1"
                                           << "A. B";
}

void TestAdapterInfo::readsTheAdapterName()
{
    QFETCH(QString, entryText);
    QFETCH(QString, name);

    QCOMPARE(adapterNameOf(entryText), name);
}

QTEST_GUILESS_MAIN(TestAdapterInfo)

#include "tst_adapterinfo.moc"
