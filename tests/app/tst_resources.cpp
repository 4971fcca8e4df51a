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
    void isStoredAs_data();
    void isStoredAs();
    void isImage_data();
    void isImage();
    void isLampOfFourColours_data();
    void isLampOfFourColours();
    void isRoundLamp_data();
    void isRoundLamp();
    void lampsShareTheirShape();
    void loadingPictureMoves();
    void loadingPictureHasOneColour();
    void loadingPictureStartsCheaply();

private:
    static void addLamps();
};

void ResourcesTest::liesAtTheRoot()
{
    // Qt's own resources lie in folders.
    QCOMPARE(QDir(":/").entryList(QDir::Files, QDir::Name),
             QStringList({"fennory.png", "fennory_64x64.png", "green.xpm", "loading.gif", "red.xpm",
                          "white.xpm"}));
}

void ResourcesTest::isStoredAs_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QResource::Compression>("compression");
    QTest::newRow("logo") << ":/fennory.png" << QResource::NoCompression;
    QTest::newRow("large logo") << ":/fennory_64x64.png" << QResource::NoCompression;
    QTest::newRow("loading") << ":/loading.gif" << QResource::NoCompression;
    QTest::newRow("green") << ":/green.xpm" << QResource::ZlibCompression;
    QTest::newRow("red") << ":/red.xpm" << QResource::ZlibCompression;
    QTest::newRow("white") << ":/white.xpm" << QResource::ZlibCompression;
}

void ResourcesTest::isStoredAs()
{
    QFETCH(QString, path);
    const QResource resource(path);
    QVERIFY(resource.isValid());
    QTEST(resource.compressionAlgorithm(), "compression");
}

void ResourcesTest::isImage_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QSize>("size");
    QTest::newRow("logo") << ":/fennory.png" << QByteArray("png") << QSize(171, 65);
    QTest::newRow("large logo") << ":/fennory_64x64.png" << QByteArray("png") << QSize(256, 256);
    QTest::newRow("loading") << ":/loading.gif" << QByteArray("gif") << QSize(512, 512);
    QTest::newRow("green") << ":/green.xpm" << QByteArray("xpm") << QSize(32, 32);
    QTest::newRow("red") << ":/red.xpm" << QByteArray("xpm") << QSize(32, 32);
    QTest::newRow("white") << ":/white.xpm" << QByteArray("xpm") << QSize(32, 32);
}

void ResourcesTest::isImage()
{
    QFETCH(QString, path);
    QImageReader reader(path);
    reader.setDecideFormatFromContent(true);
    QTEST(reader.format(), "format");
    QTEST(reader.read().size(), "size");
}

void ResourcesTest::addLamps()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("fill");
    QTest::addColumn<QString>("shade");
    QTest::newRow("green") << ":/green.xpm"
                           << "#ff00ff00"
                           << "#ff008000";
    QTest::newRow("red") << ":/red.xpm"
                         << "#ffff0000"
                         << "#ff800000";
    QTest::newRow("white") << ":/white.xpm"
                           << "#ffffffff"
                           << "#ffc0c0c0";
}

void ResourcesTest::isLampOfFourColours_data()
{
    addLamps();
}

void ResourcesTest::isLampOfFourColours()
{
    QFETCH(QString, path);
    QFETCH(QString, fill);
    QFETCH(QString, shade);
    QStringList expected = {"#ff000000", fill, shade, "transparent"};
    expected.sort();
    const QImage image(path);
    QCOMPARE(coloursOf(image).keys(), expected);

    // The image declares no more colours than it uses.
    const QByteArray source = QResource(path).uncompressedData();
    QVERIFY(source.contains("\"32 32 4 1"));
}

void ResourcesTest::isRoundLamp_data()
{
    addLamps();
}

void ResourcesTest::isRoundLamp()
{
    QFETCH(QString, path);
    QFETCH(QString, fill);
    QFETCH(QString, shade);
    const QImage image(path);

    for (const QPoint &corner : {QPoint(0, 0), QPoint(31, 0), QPoint(0, 31), QPoint(31, 31)})
        QCOMPARE(image.pixelColor(corner).alpha(), 0);
    QCOMPARE(image.pixelColor(16, 16).name(QColor::HexArgb), fill);

    // From the left: background, outline, lamp.
    int x = 0;
    while (x < 16 && image.pixelColor(x, 16).alpha() == 0)
        ++x;
    QCOMPARE(image.pixelColor(x, 16), QColor(Qt::black));

    const Colours colours = coloursOf(image);
    QVERIFY(colours.value(fill) > colours.value(shade));
}

void ResourcesTest::lampsShareTheirShape()
{
    const QByteArray green = QResource(":/green.xpm").uncompressedData();
    const QByteArray red = QResource(":/red.xpm").uncompressedData();
    const QByteArray white = QResource(":/white.xpm").uncompressedData();
    const auto shape = [](const QByteArray &source) {
        return source.mid(source.indexOf("\"32 32 4 1")).split('\n').mid(5);
    };
    QVERIFY(shape(green).size() >= 32);
    QCOMPARE(shape(red), shape(green));
    QCOMPARE(shape(white), shape(green));
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
