#include "backend/Exceptions.h"

#include "tests/support/DataRows.h"

#include <QMap>
#include <QTest>

#include <limits>
#include <memory>
#include <typeinfo>

using namespace DPL;

namespace
{

struct KernelCodeRange {
    std::uint32_t first;
    std::uint32_t last;
};

constexpr std::uint32_t step = 0x10000;

/// The kernel codes whose program code is computed, first and last of each run of steps.
const QList<KernelCodeRange> computedRanges = {
    {0x10070000, 0x10070000}, {0x10080000, 0x10080000}, {0x100E0000, 0x100E0000},
    {0x100F0000, 0x100F0000}, {0x10130000, 0x10150000}, {0x101C0000, 0x101C0000},
    {0x101D0000, 0x101D0000}, {0x10200000, 0x10200000}, {0x10210000, 0x10210000},
    {0x10240000, 0x10270000}, {0x10290000, 0x10290000}, {0x10380000, 0x10380000},
    {0x103C0000, 0x10420000}, {0x10440000, 0x10440000}, {0x10450000, 0x10450000},
    {0x10470000, 0x10470000}, {0x104D0000, 0x10550000}, {0x3F000000, 0x3F030000},
    {0x3F050000, 0x3F0E0000}, {0x3F100000, 0x3F130000},
};

/// The kernel codes that have a program code of their own.
const QMap<std::uint32_t, std::int32_t> translatedCodes = {
    {0x00000000, 0},    {0x10040000, -104}, {0x10050000, -104}, {0x10100000, -104},
    {0x101E0000, -104}, {0x101F0000, -104}, {0x104C0000, -104}, {0x10060000, -105},
    {0x10110000, -105}, {0x10280000, -105}, {0x10460000, -105}, {0x10480000, -105},
    {0x104B0000, -105}, {0x100A0000, -106}, {0x100B0000, -100}, {0x100C0000, -122},
    {0x101A0000, -122}, {0x100D0000, -102}, {0x10170000, -102}, {0x10120000, -118},
    {0x102A0000, -118}, {0x10430000, -118}, {0x104A0000, -118}, {0x10160000, -112},
    {0x10180000, -112}, {0x10190000, -115}, {0x101B0000, -115}, {0x10490000, -115},
    {0x10220000, -109}, {0x10230000, -108}, {0x10370000, -123}, {0x10390000, -123},
    {0x103A0000, -123}, {0x3F040000, -121},
};

/// Returns the code with the low byte of its high half negated below a fixed high byte.
std::int32_t computedCode(std::uint32_t kernelCode)
{
    const std::uint32_t middleByte = (kernelCode >> 16) & 0xFF;
    const std::uint32_t negated = middleByte == 0 ? 0xF100 : 0xFF00 | (0x100 - middleByte);
    return static_cast<std::int32_t>(negated << 16);
}

/// Returns the program code of every kernel code that has one.
QMap<std::uint32_t, std::int32_t> knownCodes()
{
    auto codes = translatedCodes;
    for (const KernelCodeRange &range : computedRanges) {
        for (std::uint32_t kernelCode = range.first; kernelCode <= range.last; kernelCode += step)
            codes[kernelCode] = computedCode(kernelCode);
    }
    return codes;
}

template <typename Exception>
void addClass(int code)
{
    QTest::addRow("%d", code) << code << QByteArray(typeid(Exception).name());
}

} // namespace

class ExceptionsTest : public QObject
{
    Q_OBJECT

private slots:
    void throwsTheClassOfTheCode_data();
    void throwsTheClassOfTheCode();
    void throwsNothingForZero();
    void keepsMessageAndCodeInACopy();
    void translatesEveryStep();
};

void ExceptionsTest::throwsTheClassOfTheCode_data()
{
    const DataRows<int, QByteArray> row("code", "className");
    addClass<NotInitializedException>(-100);
    addClass<InvalidStateException>(-101);
    addClass<NotOpenedException>(-102);
    addClass<NoImageDataAvailableException>(-103);
    addClass<NotFoundException>(-104);
    addClass<InvalidParameterException>(-105);
    addClass<NotAvailableException>(-106);
    addClass<FunctionNotAvailableException>(-107);
    addClass<TimeoutException>(-108);
    addClass<AbortedException>(-109);
    addClass<FileOperationFailureException>(-110);
    addClass<FileOperationFatalErrorException>(-111);
    addClass<NoAccessException>(-112);
    addClass<WrongBufferSizeException>(-113);
    addClass<InvalidBufferException>(-114);
    addClass<ResourceInUseException>(-115);
    addClass<NotImplementedException>(-116);
    addClass<InvalidHandleException>(-117);
    addClass<IOErrorException>(-118);
    addClass<ParsingErrorException>(-119);
    addClass<InvalidValueException>(-120);
    addClass<ResourceExhaustedException>(-121);
    addClass<OutOfMemoryException>(-122);
    addClass<BusyException>(-123);
    for (const int code : {-99, -124, -200, -1, 1, -458752, std::numeric_limits<int>::min(),
                           std::numeric_limits<int>::max()})
        addClass<GenericException>(code);
}

void ExceptionsTest::throwsTheClassOfTheCode()
{
    QFETCH(int, code);

    try {
        throwOnError(code);
        QFAIL("Expected an exception");
    } catch (const std::exception &exception) {
        QTEST(QByteArray(typeid(exception).name()), "className");
        QCOMPARE(dynamic_cast<const GenericException &>(exception).errorCode(), code);
        QCOMPARE(QString(exception.what()),
                 QString("Code: [%1] - Error description: ErrCode: %1").arg(code));
    }
}

void ExceptionsTest::throwsNothingForZero()
{
    QVERIFY_THROWS_NO_EXCEPTION(throwOnError(0));
}

void ExceptionsTest::keepsMessageAndCodeInACopy()
{
    auto original = std::make_unique<NotFoundException>("camera port");
    const NotFoundException copy(*original);
    auto genericOriginal = std::make_unique<GenericException>(7, "seven");
    const GenericException genericCopy(*genericOriginal);
    original.reset();
    genericOriginal.reset();

    QCOMPARE(copy.what(), "camera port");
    QCOMPARE(copy.errorCode(), -104);
    QCOMPARE(genericCopy.what(), "seven");
    QCOMPARE(genericCopy.errorCode(), 7);
}

void ExceptionsTest::translatesEveryStep()
{
    // The rule by which the others are computed gives these.
    QCOMPARE(computedCode(0x10070000), -458752);
    QCOMPARE(computedCode(0x10240000), -2359296);
    QCOMPARE(computedCode(0x3F000000), -251658240);

    const auto known = knownCodes();
    QCOMPARE(known.size(), 88);
    for (std::uint32_t high = 0; high <= 0xFFFF; ++high) {
        for (const std::uint32_t lowBits : {0x0000U, 0x0001U, 0x8000U, 0xFFFFU}) {
            const std::uint32_t kernelCode = high * step | lowBits;
            if (translateKernelError(kernelCode) != known.value(kernelCode, -200))
                QFAIL(qPrintable(QString("Wrong for 0x%1").arg(kernelCode, 8, 16, QChar('0'))));
        }
    }
}

QTEST_GUILESS_MAIN(ExceptionsTest)

#include "tst_exceptions.moc"
