#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "tests/support/GuiTest.h"
#include "tests/support/MissingImages.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/WizardFixture.h"

#include <QLabel>
#include <QMovie>

class PageLayoutTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void playsLoadingPicture();
    void worksWithoutLoadingPicture();
    void takesErrorForRichText();
    void leavesNoVisibleRoomToEmptyError();
    void leadsToConclusion();
};

void PageLayoutTest::playsLoadingPicture()
{
    const auto &icon = start().find<QLabel>(loadingIcon);
    const QMovie *movie = icon.movie();
    QVERIFY(movie);
    QCOMPARE(movie->fileName(), ":/loading.gif");
    QCOMPARE(movie->state(), QMovie::Running);
    QCOMPARE(movie->currentPixmap().size(), QSize(24, 24));
    QCOMPARE(icon.minimumSize(), QSize(24, 24));
    QCOMPARE(icon.maximumSize(), QSize(24, 24));
}

void PageLayoutTest::worksWithoutLoadingPicture()
{
    const MissingImages missing;
    m_pc->setPorts({{"A", "Port A"}, {"B", "Port B"}});
    const PrintedMessages messages;
    WizardUser &user = startOnAdapters();

    const auto &icon = user.find<QLabel>(loadingIcon);
    QVERIFY(!icon.movie());
    QVERIFY(icon.text().isEmpty());
    QCOMPARE(user.available(), QStringList({"Port A", "Port B"}));
    user.makeLink({1});
    QCOMPARE(user.singleLinks(), QStringList{"Port B"});
    QCOMPARE(messages.texts(), QStringList());
}

void PageLayoutTest::takesErrorForRichText()
{
    QCOMPARE(start().find<QLabel>(errorLabel).textFormat(), Qt::RichText);
}

void PageLayoutTest::leavesNoVisibleRoomToEmptyError()
{
    auto &errorText = startOnAdapters().find<QLabel>(errorLabel);
    QVERIFY(errorText.text().isEmpty());
    QVERIFY(errorText.height() <= errorText.fontMetrics().lineSpacing());
    const QImage shown = errorText.grab().toImage();
    QImage oneColour = shown;
    oneColour.fill(shown.pixelColor(0, 0));
    QCOMPARE(shown, oneColour);
}

void PageLayoutTest::leadsToConclusion()
{
    QCOMPARE(NetworkAdapterSelectorPage(nullptr).nextId(), ConclusionPageId);
}

GUI_TEST_MAIN(PageLayoutTest)

#include "tst_pagelayout.moc"
