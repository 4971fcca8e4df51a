#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "tests/support/DataRows.h"
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
    void wrapsErrorsAsRichText();
    void namesWidgetsForScreenReaders_data();
    void namesWidgetsForScreenReaders();
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

void PageLayoutTest::wrapsErrorsAsRichText()
{
    const auto &label = start().find<QLabel>(errorLabel);
    QCOMPARE(label.textFormat(), Qt::RichText);
    QVERIFY(label.wordWrap());
}

void PageLayoutTest::namesWidgetsForScreenReaders_data()
{
    const DataRows<QString> row("name");
    row(loadingIcon, "Search in progress");
    row(availableList, "Available Adapters");
    row(singleList, "Single Link Connections");
    row(dualList, "Dual Link Connections");
    row(removeSingleLink, "Remove Connection from Single Link Connections");
    row(removeDualLink, "Remove Connection from Dual Link Connections");
    row(clearSingleLink, "Clear List of Single Link Connections");
    row(clearDualLink, "Clear List of Dual Link Connections");
}

void PageLayoutTest::namesWidgetsForScreenReaders()
{
    QTEST(start().find<QWidget>(QTest::currentDataTag()).accessibleName(), "name");
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
