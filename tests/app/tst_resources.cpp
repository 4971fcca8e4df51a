#include "adapter_page/LinkRules.h"
#include "tests/support/DataRows.h"

#include <QDir>
#include <QImage>
#include <QImageReader>
#include <QMovie>
#include <QResource>
#include <QSet>
#include <QTest>

namespace
{

/// Returns the names of an image's colours, sorted.
QStringList coloursOf(const QImage &image)
{
    QSet<QString> colours;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor colour = image.pixelColor(x, y);
            colours.insert(colour.alpha() == 0 ? "transparent" : colour.name(QColor::HexArgb));
        }
    }
    QStringList names = colours.values();
    names.sort();
    return names;
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
    QCOMPARE(coloursOf(image), expected);
    QCOMPARE(image.pixelColor(16, 16).name(QColor::HexArgb), fill);
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

QTEST_MAIN(ResourcesTest)

#include "tst_resources.moc"
