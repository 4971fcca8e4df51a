#include "adapter_page/PageId.h"
#include "app/ConclusionPage.h"
#include "app/IntroductionPage.h"
#include "app/OrvantaConfigurator.h"
#include "tests/support/DataRows.h"
#include "tests/support/GuiTest.h"
#include "tests/support/MarkingTranslator.h"
#include "tests/support/MissingImages.h"
#include "tests/support/PrintedMessages.h"

#include <QLabel>
#include <QVBoxLayout>

#include <memory>

namespace
{

const QString introductionSubTitle =
    "This wizard will register the selected network adapter(s) in the Orvanta device list, as it "
    "is necessary for the Orvanta discovery process.";

const QString introductionBody =
    "Please follow the wizard only if Orvanta producer is to be used subsequently.\n\nOr it can be "
    "skipped/cancelled now and started later separately from PMT and Windows startmenu if "
    "necessary.\n\nBy using this wizard, please switch on the device(camera) and connect it with "
    "network adapters.\n\nIf network adapters of Orvanta were changed, please reset the adapter "
    "driver and rerun this wizard.";

std::unique_ptr<QWizardPage> createPage(const QString &name)
{
    if (name == "introduction")
        return std::make_unique<IntroductionPage>(nullptr);
    return std::make_unique<ConclusionPage>(nullptr);
}

/// Returns the sizes of the pictures that the window shows.
QList<QSize> visiblePictures(const QWidget &window)
{
    QList<QSize> sizes;
    for (const QLabel *label : window.findChildren<QLabel *>()) {
        const QPixmap pixmap = label->pixmap(Qt::ReturnByValue);
        if (label->isVisible() && !pixmap.isNull())
            sizes.append(pixmap.size());
    }
    return sizes;
}

} // namespace

class PagesTest : public QObject
{
    Q_OBJECT

private slots:
    void introducesItself_data();
    void introducesItself();
    void explainsTheProcedure();
    void concludesWithoutBody();
    void showsLogoInHeader_data();
    void showsLogoInHeader();
};

void PagesTest::introducesItself_data()
{
    const DataRows<QString, QString, int> row("title", "subTitle", "nextId");
    row("introduction", "Introduction", introductionSubTitle, AdapterPageId);
    row("conclusion", "Setup Complete", QString("The Orvanta configuration is completed."), -1);
}

void PagesTest::introducesItself()
{
    QFETCH(QString, title);
    const auto page = createPage(QTest::currentDataTag());
    QCOMPARE(page->title(), title);
    QTEST(page->subTitle(), "subTitle");
    QTEST(page->nextId(), "nextId");

    // Only titles are translated.
    MarkingTranslator translator;
    QVERIFY(QApplication::installTranslator(&translator));
    const auto translatedPage = createPage(QTest::currentDataTag());
    QCOMPARE(translatedPage->title(), "[" + title + "]");
    QTEST(translatedPage->subTitle(), "subTitle");
}

void PagesTest::explainsTheProcedure()
{
    const IntroductionPage page(nullptr);

    const auto *layout = qobject_cast<QVBoxLayout *>(page.layout());
    QVERIFY(layout);
    QCOMPARE(layout->count(), 1);
    const auto *label = qobject_cast<QLabel *>(layout->itemAt(0)->widget());
    QVERIFY(label);
    QCOMPARE(label->text(), introductionBody);
    QVERIFY(label->wordWrap());
    QCOMPARE(label->textFormat(), Qt::AutoText);

    MarkingTranslator translator;
    QVERIFY(QApplication::installTranslator(&translator));
    QCOMPARE(IntroductionPage(nullptr).findChild<QLabel *>()->text(), introductionBody);
}

void PagesTest::concludesWithoutBody()
{
    const ConclusionPage page(nullptr);
    QVERIFY(!page.layout());
    QVERIFY(page.children().isEmpty());
}

void PagesTest::showsLogoInHeader_data()
{
    const DataRows<int> row("pageId");
    row("introduction", IntroductionPageId);
    row("conclusion", ConclusionPageId);
}

void PagesTest::showsLogoInHeader()
{
    QFETCH(int, pageId);
    {
        OrvantaConfigurator wizard;
        wizard.setStartId(pageId);
        wizard.show();
        QCOMPARE(wizard.currentId(), pageId);
        QCOMPARE(visiblePictures(wizard), QList<QSize>{QSize(171, 65)});
        QCOMPARE(wizard.currentPage()->pixmap(QWizard::LogoPixmap).toImage(),
                 QPixmap(":/fennory.png").toImage());
    }

    // A missing logo is not reported.
    const MissingImages missing;
    const PrintedMessages messages;
    OrvantaConfigurator wizard;
    wizard.setStartId(pageId);
    wizard.show();
    QCOMPARE(visiblePictures(wizard), QList<QSize>());
    QVERIFY(!wizard.currentPage()->title().isEmpty());
    QCOMPARE(messages.texts(), QStringList());
}

GUI_TEST_MAIN(PagesTest)

#include "tst_pages.moc"
