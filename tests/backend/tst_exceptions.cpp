#include "backend/Exceptions.h"

#include <QTest>

#include <limits>
#include <memory>
#include <type_traits>
#include <typeinfo>

using namespace DPL;

namespace
{

/// Returns what throwOnError() is expected to throw.
using MakeException = const std::type_info &(*)();

template <typename Exception>
const std::type_info &classOf()
{
    static_assert(std::is_base_of_v<GenericException, Exception>);
    return typeid(Exception);
}

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
const QList<QPair<std::uint32_t, std::int32_t>> translatedCodes = {
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

QString hexadecimal(std::uint32_t code)
{
    return QString("0x%1").arg(code, 8, 16, QChar('0'));
}

/// Returns the code with the low byte of its high half negated below a fixed high byte.
std::int32_t computedCode(std::uint32_t kernelCode)
{
    const std::uint32_t middleByte = (kernelCode >> 16) & 0xFF;
    const std::uint32_t negated = middleByte == 0 ? 0xF100 : 0xFF00 | (0x100 - middleByte);
    return static_cast<std::int32_t>(negated << 16);
}

} // namespace

Q_DECLARE_METATYPE(MakeException)

class TestExceptions : public QObject
{
    Q_OBJECT

private slots:
    void throwsTheClassOfTheCode_data();
    void throwsTheClassOfTheCode();
    void constructsEachClassWithItsCode();
    void throwsTheGenericClassForOtherCodes_data();
    void throwsTheGenericClassForOtherCodes();
    void throwsNothingForZero();
    void keepsMessageAndCodeInACopy();
    void isCaughtAsAStandardException();
    void formatsTheMessage_data();
    void formatsTheMessage();
    void translatesKernelCodes_data();
    void translatesKernelCodes();
    void translatesEveryOtherStepAsUnknown();
    void translatesLowBitsAsUnknown();
};

void TestExceptions::throwsTheClassOfTheCode_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<MakeException>("expectedClass");
    QTest::addColumn<QByteArray>("message");

    const auto row = [](int code, MakeException expectedClass, const char *message) {
        QTest::addRow("%d", code) << code << expectedClass << QByteArray(message);
    };
    row(-100, classOf<NotInitializedException>, "Code: [-100] - Error description: ErrCode: -100");
    row(-101, classOf<InvalidStateException>, "Code: [-101] - Error description: ErrCode: -101");
    row(-102, classOf<NotOpenedException>, "Code: [-102] - Error description: ErrCode: -102");
    row(-103, classOf<NoImageDataAvailableException>,
        "Code: [-103] - Error description: ErrCode: -103");
    row(-104, classOf<NotFoundException>, "Code: [-104] - Error description: ErrCode: -104");
    row(-105, classOf<InvalidParameterException>,
        "Code: [-105] - Error description: ErrCode: -105");
    row(-106, classOf<NotAvailableException>, "Code: [-106] - Error description: ErrCode: -106");
    row(-107, classOf<FunctionNotAvailableException>,
        "Code: [-107] - Error description: ErrCode: -107");
    row(-108, classOf<TimeoutException>, "Code: [-108] - Error description: ErrCode: -108");
    row(-109, classOf<AbortedException>, "Code: [-109] - Error description: ErrCode: -109");
    row(-110, classOf<FileOperationFailureException>,
        "Code: [-110] - Error description: ErrCode: -110");
    row(-111, classOf<FileOperationFatalErrorException>,
        "Code: [-111] - Error description: ErrCode: -111");
    row(-112, classOf<NoAccessException>, "Code: [-112] - Error description: ErrCode: -112");
    row(-113, classOf<WrongBufferSizeException>, "Code: [-113] - Error description: ErrCode: -113");
    row(-114, classOf<InvalidBufferException>, "Code: [-114] - Error description: ErrCode: -114");
    row(-115, classOf<ResourceInUseException>, "Code: [-115] - Error description: ErrCode: -115");
    row(-116, classOf<NotImplementedException>, "Code: [-116] - Error description: ErrCode: -116");
    row(-117, classOf<InvalidHandleException>, "Code: [-117] - Error description: ErrCode: -117");
    row(-118, classOf<IOErrorException>, "Code: [-118] - Error description: ErrCode: -118");
    row(-119, classOf<ParsingErrorException>, "Code: [-119] - Error description: ErrCode: -119");
    row(-120, classOf<InvalidValueException>, "Code: [-120] - Error description: ErrCode: -120");
    row(-121, classOf<ResourceExhaustedException>,
        "Code: [-121] - Error description: ErrCode: -121");
    row(-122, classOf<OutOfMemoryException>, "Code: [-122] - Error description: ErrCode: -122");
    row(-123, classOf<BusyException>, "Code: [-123] - Error description: ErrCode: -123");
}

void TestExceptions::throwsTheClassOfTheCode()
{
    QFETCH(int, code);
    QFETCH(MakeException, expectedClass);
    QFETCH(QByteArray, message);

    try {
        throwOnError(code);
        QFAIL("Expected an exception");
    } catch (const GenericException &exception) {
        QVERIFY(typeid(exception) == expectedClass());
        QCOMPARE(exception.errorCode(), code);
        QCOMPARE(QByteArray(exception.what()), message);
    }
}

void TestExceptions::constructsEachClassWithItsCode()
{
    QCOMPARE(NotInitializedException("text").errorCode(), -100);
    QCOMPARE(InvalidStateException("text").errorCode(), -101);
    QCOMPARE(NotOpenedException("text").errorCode(), -102);
    QCOMPARE(NoImageDataAvailableException("text").errorCode(), -103);
    QCOMPARE(NotFoundException("text").errorCode(), -104);
    QCOMPARE(InvalidParameterException("text").errorCode(), -105);
    QCOMPARE(NotAvailableException("text").errorCode(), -106);
    QCOMPARE(FunctionNotAvailableException("text").errorCode(), -107);
    QCOMPARE(TimeoutException("text").errorCode(), -108);
    QCOMPARE(AbortedException("text").errorCode(), -109);
    QCOMPARE(FileOperationFailureException("text").errorCode(), -110);
    QCOMPARE(FileOperationFatalErrorException("text").errorCode(), -111);
    QCOMPARE(NoAccessException("text").errorCode(), -112);
    QCOMPARE(WrongBufferSizeException("text").errorCode(), -113);
    QCOMPARE(InvalidBufferException("text").errorCode(), -114);
    QCOMPARE(ResourceInUseException("text").errorCode(), -115);
    QCOMPARE(NotImplementedException("text").errorCode(), -116);
    QCOMPARE(InvalidHandleException("text").errorCode(), -117);
    QCOMPARE(IOErrorException("text").errorCode(), -118);
    QCOMPARE(ParsingErrorException("text").errorCode(), -119);
    QCOMPARE(InvalidValueException("text").errorCode(), -120);
    QCOMPARE(ResourceExhaustedException("text").errorCode(), -121);
    QCOMPARE(OutOfMemoryException("text").errorCode(), -122);
    QCOMPARE(BusyException("text").errorCode(), -123);

    QCOMPARE(BusyException("text").what(), "text");
}

void TestExceptions::throwsTheGenericClassForOtherCodes_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("message");

    const auto row = [](int code, const char *message) {
        QTest::addRow("%d", code) << code << QByteArray(message);
    };
    row(-99, "Code: [-99] - Error description: ErrCode: -99");
    row(-124, "Code: [-124] - Error description: ErrCode: -124");
    row(-200, "Code: [-200] - Error description: ErrCode: -200");
    row(-1, "Code: [-1] - Error description: ErrCode: -1");
    row(1, "Code: [1] - Error description: ErrCode: 1");
    row(-458752, "Code: [-458752] - Error description: ErrCode: -458752");
    row(std::numeric_limits<int>::min(),
        "Code: [-2147483648] - Error description: ErrCode: -2147483648");
    row(std::numeric_limits<int>::max(),
        "Code: [2147483647] - Error description: ErrCode: 2147483647");
}

void TestExceptions::throwsTheGenericClassForOtherCodes()
{
    QFETCH(int, code);
    QFETCH(QByteArray, message);

    try {
        throwOnError(code);
        QFAIL("Expected an exception");
    } catch (const GenericException &exception) {
        QVERIFY(typeid(exception) == typeid(GenericException));
        QCOMPARE(exception.errorCode(), code);
        QCOMPARE(QByteArray(exception.what()), message);
    }
}

void TestExceptions::throwsNothingForZero()
{
    QVERIFY_THROWS_NO_EXCEPTION(throwOnError(0));
}

void TestExceptions::keepsMessageAndCodeInACopy()
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

void TestExceptions::isCaughtAsAStandardException()
{
    try {
        throwOnError(-104);
        QFAIL("Expected an exception");
    } catch (const std::exception &exception) {
        QCOMPARE(exception.what(), "Code: [-104] - Error description: ErrCode: -104");
    }
}

void TestExceptions::formatsTheMessage_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("message");

    QTest::newRow("not found") << -104
                               << QByteArray("Code: [-104] - Error description: ErrCode: -104");
    QTest::newRow("zero") << 0 << QByteArray("Code: [0] - Error description: ErrCode: 0");
    QTest::newRow("positive") << 12 << QByteArray("Code: [12] - Error description: ErrCode: 12");
}

void TestExceptions::formatsTheMessage()
{
    QFETCH(int, code);
    QFETCH(QByteArray, message);

    QCOMPARE(QByteArray::fromStdString(formatErrorMessage(code)), message);
}

void TestExceptions::translatesKernelCodes_data()
{
    QTest::addColumn<std::uint32_t>("kernelCode");
    QTest::addColumn<std::int32_t>("code");

    const auto row = [](std::uint32_t kernelCode, std::int32_t code, const char *what) {
        QTest::addRow("%s %s", what, qPrintable(hexadecimal(kernelCode))) << kernelCode << code;
    };
    for (const auto &[kernelCode, code] : translatedCodes)
        row(kernelCode, code, "translated");
    for (const KernelCodeRange &range : computedRanges) {
        for (std::uint32_t kernelCode = range.first; kernelCode <= range.last; kernelCode += step)
            row(kernelCode, computedCode(kernelCode), "computed");
    }

    row(0x10070000, -458752, "example");
    row(0x3F000000, -251658240, "example");
    row(0x10240000, -2359296, "example");

    for (const std::uint32_t kernelCode : {0x10010000U, 0x10090000U, 0x103B0000U, 0x3F0F0000U})
        row(kernelCode, -200, "unknown");
    // The same middle byte below other high bytes.
    for (const std::uint32_t kernelCode :
         {0x00040000U, 0x001F0000U, 0x20070000U, 0x3E000000U, 0x40000000U, 0x901F0000U, 0xFFFFFFFFU,
          0x00000001U, 0x80000000U})
        row(kernelCode, -200, "unknown");
}

void TestExceptions::translatesKernelCodes()
{
    QFETCH(std::uint32_t, kernelCode);
    QFETCH(std::int32_t, code);

    QCOMPARE(translateKernelError(kernelCode), code);
}

void TestExceptions::translatesEveryOtherStepAsUnknown()
{
    QList<std::uint32_t> known;
    for (const auto &translated : translatedCodes)
        known.append(translated.first);
    for (const KernelCodeRange &range : computedRanges) {
        for (std::uint32_t kernelCode = range.first; kernelCode <= range.last; kernelCode += step)
            known.append(kernelCode);
    }

    int unknownCount = 0;
    for (std::uint32_t high = 0; high <= 0xFFFF; ++high) {
        const std::uint32_t kernelCode = high << 16;
        if (known.contains(kernelCode))
            continue;
        ++unknownCount;
        if (translateKernelError(kernelCode) != -200)
            QFAIL(qPrintable(hexadecimal(kernelCode)));
    }
    QCOMPARE(unknownCount, 0x10000 - known.size());
}

void TestExceptions::translatesLowBitsAsUnknown()
{
    QList<std::uint32_t> known;
    for (const auto &translated : translatedCodes)
        known.append(translated.first);
    for (const KernelCodeRange &range : computedRanges)
        known << range.first << range.last;

    for (const std::uint32_t kernelCode : std::as_const(known)) {
        for (const std::uint32_t lowBits : {0x0001U, 0x8000U, 0xFFFFU})
            QCOMPARE(translateKernelError(kernelCode | lowBits), -200);
    }
}

QTEST_GUILESS_MAIN(TestExceptions)

#include "tst_exceptions.moc"
