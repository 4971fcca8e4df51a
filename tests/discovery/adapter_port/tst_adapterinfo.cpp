#include "discovery/adapter_port/AdapterInfo.h"

#include "tests/support/AdapterTexts.h"
#include "tests/support/DataRows.h"

#include <QTest>

#include <type_traits>

using namespace std::string_literals;

static_assert(std::is_nothrow_move_constructible_v<AdapterInfo>);
static_assert(std::is_aggregate_v<AdapterInfo>);

class AdapterInfoTest : public QObject
{
    Q_OBJECT

private slots:
    void startsUnknown();
    void comparesIdentifiersAlone_data();
    void comparesIdentifiersAlone();
};

void AdapterInfoTest::startsUnknown()
{
    QCOMPARE(textOf(AdapterInfo()), "|||-1|-1|0|0");
}

void AdapterInfoTest::comparesIdentifiersAlone_data()
{
    const DataRows<std::string, bool> row("other", "isEqual");
    row("same", "A\0B"s, true);
    row("empty", ""s, false);
    row("letter case", "a\0B"s, false);
    row("longer", "A\0BC"s, false);
    row("blank at the end", "A\0B "s, false);
    row("difference behind a NUL", "A\0C"s, false);
    row("longer by a NUL", "A\0B\0"s, false);
}

void AdapterInfoTest::comparesIdentifiersAlone()
{
    QFETCH(std::string, other);

    // Either all other fields differ or none does.
    const AdapterInfo adapter = {"A\0B"s, "name", "description", 1, 2, 3, 4};
    for (const AdapterInfo &second : {AdapterInfo{other, "name", "description", 1, 2, 3, 4},
                                      AdapterInfo{other, "else", "another", 5, 6, 7, 8}}) {
        QTEST(adapter == second, "isEqual");
        QTEST(second == adapter, "isEqual");
    }
    QVERIFY(AdapterInfo() == AdapterInfo());
}

QTEST_GUILESS_MAIN(AdapterInfoTest)

#include "tst_adapterinfo.moc"
