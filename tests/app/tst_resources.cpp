#include "adapter_page/LinkRules.h"
#include "tests/support/DataRows.h"

#include <QBitmap>
#include <QDir>
#include <QImage>
#include <QImageReader>
#include <QMap>
#include <QMovie>
#include <QPixmap>
#include <QRegion>
#include <QResource>
#include <QTest>

namespace
{

using Colours = QMap<QString, int>;

/// Returns how many pixels each colour has.
Colours coloursOf(const QImage &image)
{
    Colours colours;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor colour = image.pixelColor(x, y);
            ++colours[colour.alpha() == 0 ? "transparent" : colour.name(QColor::HexArgb)];
        }
    }
    return colours;
}

} // namespace

class ResourcesTest : public QObject
{
    Q_OBJECT

private slots:
    void liesAtTheRoot();
    void isImage_data();
    void isImage();
    void isLamp_data();
    void isLamp();
    void loadingPictureMoves();
    void loadingPictureHasOneColour();
    void loadingPictureStartsCheaply();
};

void ResourcesTest::liesAtTheRoot()
{
    QStringList images = {"fennory.png", "fennory_64x64.png", "loading.gif"};
    for (const Lamp &lamp : allLamps)
        images.append(QString(lamp.image).remove(":/"));
    images.sort();
    // Qt's own resources lie in folders.
    QCOMPARE(QDir(":/").entryList(QDir::Files, QDir::Name), images);
}

void ResourcesTest::isImage_data()
{
    const DataRows<QByteArray, QSize, QResource::Compression> row("format", "size", "compression");
    row(":/fennory.png", "png", {171, 65}, QResource::NoCompression);
    row(":/fennory_64x64.png", "png", {256, 256}, QResource::NoCompression);
    row(":/loading.gif", "gif", {512, 512}, QResource::NoCompression);
    for (const Lamp &lamp : allLamps)
        row(lamp.image, "xpm", {32, 32}, QResource::ZlibCompression);
}

void ResourcesTest::isImage()
{
    const QResource resource(QTest::currentDataTag());
    QVERIFY(resource.isValid());
    QTEST(resource.compressionAlgorithm(), "compression");

    QImageReader reader(QTest::currentDataTag());
    reader.setDecideFormatFromContent(true);
    QTEST(reader.format(), "format");
    QTEST(reader.read().size(), "size");
}

void ResourcesTest::isLamp_data()
{
    const QMap<QString, QStringList> colours = {{":/green.xpm", {"#ff00ff00", "#ff008000"}},
                                                {":/red.xpm", {"#ffff0000", "#ff800000"}},
                                                {":/white.xpm", {"#ffffffff", "#ffc0c0c0"}}};
    const DataRows<QString, QString> row("fill", "shade");
    for (const Lamp &lamp : allLamps)
        row(lamp.image, colours[lamp.image].value(0), colours[lamp.image].value(1));
}

void ResourcesTest::isLamp()
{
    QFETCH(QString, fill);
    QFETCH(QString, shade);
    const QImage image(QTest::currentDataTag());

    QStringList expected = {"#ff000000", fill, shade, "transparent"};
    expected.sort();
    const Colours colours = coloursOf(image);
    QCOMPARE(colours.keys(), expected);
    QVERIFY(colours.value(fill) > colours.value(shade));

    for (const QPoint &corner : {QPoint(0, 0), QPoint(31, 0), QPoint(0, 31), QPoint(31, 31)})
        QCOMPARE(image.pixelColor(corner).alpha(), 0);
    QCOMPARE(image.pixelColor(16, 16).name(QColor::HexArgb), fill);
    // From the left: background, outline, lamp.
    int x = 0;
    while (x < 16 && image.pixelColor(x, 16).alpha() == 0)
        ++x;
    QCOMPARE(image.pixelColor(x, 16), QColor(Qt::black));

    // The image declares no more colours than it uses, and all have one shape.
    const auto shapeOf = [](const QString &path) {
        const QByteArray source = QResource(path).uncompressedData();
        return source.mid(source.indexOf("\"32 32 4 1")).split('\n').mid(5);
    };
    QVERIFY(QResource(QTest::currentDataTag()).uncompressedData().contains("\"32 32 4 1"));
    QVERIFY(shapeOf(":/green.xpm").size() >= 32);
    QCOMPARE(shapeOf(QTest::currentDataTag()), shapeOf(":/green.xpm"));
}

void ResourcesTest::loadingPictureMoves()
{
    QMovie movie(":/loading.gif");
    QVERIFY(movie.isValid());
    QVERIFY(movie.frameCount() > 1);
    QVERIFY(movie.jumpToFrame(0));
    const QImage first = movie.currentImage();
    QVERIFY(movie.jumpToFrame(1));
    QVERIFY(movie.currentImage() != first);
    // It goes on for as long as a search lasts.
    QCOMPARE(QImageReader(":/loading.gif").loopCount(), -1);
}

void ResourcesTest::loadingPictureHasOneColour()
{
    QImageReader reader(":/loading.gif");
    for (int frame = 0; frame < reader.imageCount(); ++frame)
        QCOMPARE(coloursOf(reader.read()).keys(), QStringList({"#ff2a8fc4", "transparent"}));
}

void ResourcesTest::loadingPictureStartsCheaply()
{
    QMovie movie(":/loading.gif");
    QVERIFY(movie.jumpToFrame(0));
    const QRect painted = QRegion(movie.currentPixmap().mask()).boundingRect();
    QVERIFY(painted.width() * painted.height() < 512 * 512 / 16);
    // Nothing more falls due before the first page is painted.
    QVERIFY(movie.nextFrameDelay() >= 500);
}

QTEST_MAIN(ResourcesTest)

#include "tst_resources.moc"
