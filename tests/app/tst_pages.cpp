#include "app/ConclusionPage.h"
#include "app/IntroductionPage.h"
#include "app/OrvantaConfigurator.h"
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
    void showsTitles_data();
    void showsTitles();
    void translatesTitlesOnly_data();
    void translatesTitlesOnly();
    void explainsTheProcedure();
    void keepsTheExplanationInEnglish();
    void concludesWithoutBody();
    void leadsToNextPage_data();
    void leadsToNextPage();
    void hasNoMetaObjectOfItsOwn_data();
    void hasNoMetaObjectOfItsOwn();
    void showsLogoInHeader_data();
    void showsLogoInHeader();
    void staysSilentWithoutLogo_data();
    void staysSilentWithoutLogo();
    void belongsToItsParent();

private:
    static void addPages();
};

void PagesTest::addPages()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("introduction") << "introduction";
    QTest::newRow("conclusion") << "conclusion";
}

void PagesTest::showsTitles_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("subTitle");
    QTest::newRow("introduction") << "introduction"
                                  << "Introduction" << introductionSubTitle;
    QTest::newRow("conclusion") << "conclusion"
                                << "Setup Complete"
                                << "The Orvanta configuration is completed.";
}

void PagesTest::showsTitles()
{
    QFETCH(QString, name);
    const auto page = createPage(name);
    QTEST(page->title(), "title");
    QTEST(page->subTitle(), "subTitle");
}

void PagesTest::translatesTitlesOnly_data()
{
    showsTitles_data();
}

void PagesTest::translatesTitlesOnly()
{
    QFETCH(QString, name);
    QFETCH(QString, title);
    MarkingTranslator translator;
    QVERIFY(QApplication::installTranslator(&translator));

    const auto page = createPage(name);
    QCOMPARE(page->title(), "[" + title + "]");
    QTEST(page->subTitle(), "subTitle");
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
    QCOMPARE(label->parentWidget(), &page);
    QCOMPARE(layout->stretch(0), 0);
    QCOMPARE(layout->itemAt(0)->alignment(), Qt::Alignment());
    QCOMPARE(page.findChildren<QWidget *>().size(), 1);
}

void PagesTest::keepsTheExplanationInEnglish()
{
    MarkingTranslator translator;
    QVERIFY(QApplication::installTranslator(&translator));

    const IntroductionPage page(nullptr);
    QCOMPARE(page.findChild<QLabel *>()->text(), introductionBody);
}

void PagesTest::concludesWithoutBody()
{
    const ConclusionPage page(nullptr);
    QVERIFY(!page.layout());
    QVERIFY(page.children().isEmpty());
}

void PagesTest::leadsToNextPage_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("nextId");
    QTest::newRow("introduction") << "introduction" << 1;
    QTest::newRow("conclusion") << "conclusion" << -1;
}

void PagesTest::leadsToNextPage()
{
    QFETCH(QString, name);
    QTEST(createPage(name)->nextId(), "nextId");
}

void PagesTest::hasNoMetaObjectOfItsOwn_data()
{
    addPages();
}

void PagesTest::hasNoMetaObjectOfItsOwn()
{
    QFETCH(QString, name);
    QCOMPARE(createPage(name)->metaObject(), &QWizardPage::staticMetaObject);
}

void PagesTest::showsLogoInHeader_data()
{
    QTest::addColumn<int>("pageId");
    QTest::newRow("introduction") << 0;
    QTest::newRow("conclusion") << 2;
}

void PagesTest::showsLogoInHeader()
{
    QFETCH(int, pageId);
    OrvantaConfigurator wizard;
    wizard.setStartId(pageId);
    wizard.show();

    QCOMPARE(wizard.currentId(), pageId);
    QCOMPARE(visiblePictures(wizard), QList<QSize>{QSize(171, 65)});
    QCOMPARE(wizard.currentPage()->pixmap(QWizard::LogoPixmap).toImage(),
             QPixmap(":/fennory.png").toImage());
}

void PagesTest::staysSilentWithoutLogo_data()
{
    showsLogoInHeader_data();
}

void PagesTest::staysSilentWithoutLogo()
{
    QFETCH(int, pageId);
    const MissingImages missing;
    const PrintedMessages messages;
    OrvantaConfigurator wizard;
    wizard.setStartId(pageId);
    wizard.show();

    QCOMPARE(visiblePictures(wizard), QList<QSize>());
    QVERIFY(!wizard.currentPage()->title().isEmpty());
    QCOMPARE(messages.texts(), QStringList());
}

void PagesTest::belongsToItsParent()
{
    QWidget parent;
    QCOMPARE(IntroductionPage(&parent).parentWidget(), &parent);
    QCOMPARE(ConclusionPage(&parent).parentWidget(), &parent);
}

GUI_TEST_MAIN(PagesTest)

#include "tst_pages.moc"
