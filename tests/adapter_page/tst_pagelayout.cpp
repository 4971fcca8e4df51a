#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "tests/support/GuiTest.h"
#include "tests/support/MarkingTranslator.h"
#include "tests/support/MissingImages.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/RunningWizard.h"
#include "tests/support/TemporaryPc.h"

#include <QFrame>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QListView>
#include <QMetaMethod>
#include <QMetaProperty>
#include <QMovie>
#include <QPushButton>
#include <QStandardItemModel>
#include <QStyle>

#include <memory>

namespace
{

template <typename Enum>
QString enumName(Enum value)
{
    return QMetaEnum::fromType<Enum>().valueToKey(value);
}

/// Returns a layout's child as text: "label", "horizontalLayout",
/// "spacer 40x20 Expanding Minimum", with its alignment, if any.
QString describe(QLayoutItem *item)
{
    QString text;
    if (item->widget()) {
        text = item->widget()->objectName();
    } else if (item->layout()) {
        text = item->layout()->objectName();
    } else {
        const QSizePolicy policy = item->spacerItem()->sizePolicy();
        text = QString("spacer %1x%2 %3 %4")
                   .arg(item->sizeHint().width())
                   .arg(item->sizeHint().height())
                   .arg(enumName(policy.horizontalPolicy()), enumName(policy.verticalPolicy()));
    }
    if (item->alignment() == Qt::AlignLeft)
        return text + " AlignLeft";
    return item->alignment() == Qt::Alignment() ? text : text + " aligned otherwise";
}

/// Returns the names that the form gives to its children of a class, sorted; Qt's own children have
/// none or "qt_...".
template <typename Child>
QStringList childNames(const QWidget &form)
{
    QStringList names;
    for (const QObject *child : form.findChildren<Child *>()) {
        if (!child->objectName().isEmpty() && !child->objectName().startsWith("qt_"))
            names.append(child->objectName());
    }
    names.sort();
    return names;
}

QString textOf(const QObject &widget)
{
    const char *property = qobject_cast<const QGroupBox *>(&widget) ? "title" : "text";
    return widget.property(property).toString();
}

bool isOneColour(const QImage &image)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != image.pixel(0, 0))
                return false;
        }
    }
    return true;
}

} // namespace

class PageLayoutTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void isForm();
    void hasWidget_data();
    void hasWidget();
    void hasNoOtherWidget();
    void arrangesChildren_data();
    void arrangesChildren();
    void hasNoOtherLayout();
    void hasMargins_data();
    void hasMargins();
    void showsText_data();
    void showsText();
    void translatesText_data();
    void translatesText();
    void wrapsWords_data();
    void wrapsWords();
    void framesLoading();
    void fixesLoadingIcon();
    void hidesLoading();
    void showsErrorsAsRichText();
    void enablesButtons_data();
    void enablesButtons();
    void selectsRows_data();
    void selectsRows();
    void givesEachListItsModel();
    void playsLoadingPicture();
    void worksWithoutLoadingPicture();
    void leavesNoVisibleRoomToEmptyError();

    void isOfItsOwnMetaClass();
    void hasMethod_data();
    void hasMethod();
    void hasProperty_data();
    void hasProperty();
    void hasNoOtherMembers();
    void connectsWithoutWarning();
    void publishesFields_data();
    void publishesFields();
    void leadsToConclusion();

private:
    template <typename Object = QObject>
    Object &find(const QString &name)
    {
        auto *object = m_page->findChild<Object *>(name);
        if (!object)
            qFatal("Expected %s", qPrintable(name));
        return *object;
    }

    std::unique_ptr<NetworkAdapterSelectorPage> m_page;
};

void PageLayoutTest::init()
{
    m_page = std::make_unique<NetworkAdapterSelectorPage>(nullptr);
}

void PageLayoutTest::cleanup()
{
    m_page.reset();
}

void PageLayoutTest::isForm()
{
    QCOMPARE(m_page->objectName(), "NetworkAdapterSelectorPage");
    QCOMPARE(m_page->size(), QSize(512, 566));
    QCOMPARE(m_page->windowTitle(), "Form");
    QVERIFY(m_page->title().isEmpty());
    QVERIFY(m_page->subTitle().isEmpty());
}

void PageLayoutTest::hasWidget_data()
{
    QTest::addColumn<QByteArray>("className");
    QTest::addColumn<QString>("parent");
    const auto row = [](const char *name, const char *className, const char *parent) {
        QTest::newRow(name) << QByteArray(className) << parent;
    };
    row("contents", "QWidget", "NetworkAdapterSelectorPage");
    row("label", "QLabel", "contents");
    row("label_2", "QLabel", "contents");
    row("loading_frame", "QFrame", "contents");
    row("loadingIcon_lbl", "QLabel", "loading_frame");
    row("loadingInfotext_lbl", "QLabel", "loading_frame");
    row("groupBox_3", "QGroupBox", "contents");
    row("availableAdaptersList", "QListView", "groupBox_3");
    row("createSingleLink", "QPushButton", "groupBox_3");
    row("createDualLink", "QPushButton", "groupBox_3");
    row("groupBox", "QGroupBox", "contents");
    row("singleLinkList", "QListView", "groupBox");
    row("removeSingleLink", "QPushButton", "groupBox");
    row("clearSingleLink", "QPushButton", "groupBox");
    row("groupBox_2", "QGroupBox", "contents");
    row("dualLinkList", "QListView", "groupBox_2");
    row("removeDualLink", "QPushButton", "groupBox_2");
    row("clearDualLink", "QPushButton", "groupBox_2");
    row("errorText", "QLabel", "NetworkAdapterSelectorPage");
}

void PageLayoutTest::hasWidget()
{
    const auto &widget = find<QWidget>(QTest::currentDataTag());
    QTEST(QByteArray(widget.metaObject()->className()), "className");
    QTEST(widget.parentWidget()->objectName(), "parent");
}

void PageLayoutTest::hasNoOtherWidget()
{
    QCOMPARE(childNames<QWidget>(*m_page),
             QStringList({"availableAdaptersList", "clearDualLink", "clearSingleLink", "contents",
                          "createDualLink", "createSingleLink", "dualLinkList", "errorText",
                          "groupBox", "groupBox_2", "groupBox_3", "label", "label_2",
                          "loadingIcon_lbl", "loadingInfotext_lbl", "loading_frame",
                          "removeDualLink", "removeSingleLink", "singleLinkList"}));
}

void PageLayoutTest::arrangesChildren_data()
{
    QTest::addColumn<QByteArray>("className");
    QTest::addColumn<QString>("parent");
    QTest::addColumn<QStringList>("children");
    const auto row = [](const char *name, const char *className, const char *parent,
                        const QStringList &children) {
        QTest::newRow(name) << QByteArray(className) << parent << children;
    };
    const QString spacer = "spacer 40x20 Expanding Minimum";
    row("verticalLayout", "QVBoxLayout", "NetworkAdapterSelectorPage", {"all_layout"});
    row("all_layout", "QVBoxLayout", "verticalLayout",
        {"contents", "errorText", "spacer 20x40 Minimum Expanding"});
    row("anylayout", "QVBoxLayout", "contents",
        {"label", "label_2", "loading_frame", "groupBox_3", "groupBox", "groupBox_2"});
    row("horizontalLayout_2", "QHBoxLayout", "loading_frame",
        {"loadingIcon_lbl AlignLeft", "loadingInfotext_lbl AlignLeft", spacer});
    row("verticalLayout_4", "QVBoxLayout", "groupBox_3",
        {"availableAdaptersList", "horizontalLayout"});
    row("horizontalLayout", "QHBoxLayout", "verticalLayout_4",
        {"createSingleLink", "createDualLink", spacer});
    row("verticalLayout_2", "QVBoxLayout", "groupBox", {"singleLinkList", "horizontalLayout_3"});
    row("horizontalLayout_3", "QHBoxLayout", "verticalLayout_2",
        {"removeSingleLink", spacer, "clearSingleLink"});
    row("verticalLayout_3", "QVBoxLayout", "groupBox_2", {"dualLinkList", "horizontalLayout_4"});
    row("horizontalLayout_4", "QHBoxLayout", "verticalLayout_3",
        {"removeDualLink", spacer, "clearDualLink"});
}

void PageLayoutTest::arrangesChildren()
{
    auto &layout = find<QLayout>(QTest::currentDataTag());
    QTEST(QByteArray(layout.metaObject()->className()), "className");
    QTEST(layout.parent()->objectName(), "parent");

    QStringList children;
    for (int index = 0; index < layout.count(); ++index)
        children.append(describe(layout.itemAt(index)));
    QTEST(children, "children");
}

void PageLayoutTest::hasNoOtherLayout()
{
    QCOMPARE(childNames<QLayout>(*m_page),
             QStringList({"all_layout", "anylayout", "horizontalLayout", "horizontalLayout_2",
                          "horizontalLayout_3", "horizontalLayout_4", "verticalLayout",
                          "verticalLayout_2", "verticalLayout_3", "verticalLayout_4"}));
}

void PageLayoutTest::hasMargins_data()
{
    QTest::addColumn<bool>("isNested");
    QTest::addColumn<int>("bottom");
    constexpr int standard = -1;
    QTest::newRow("verticalLayout") << false << standard;
    QTest::newRow("all_layout") << true << 0;
    QTest::newRow("anylayout") << false << 1;
    QTest::newRow("horizontalLayout_2") << false << standard;
    QTest::newRow("verticalLayout_4") << false << standard;
    QTest::newRow("horizontalLayout") << true << standard;
    QTest::newRow("verticalLayout_2") << false << standard;
    QTest::newRow("horizontalLayout_3") << true << standard;
    QTest::newRow("verticalLayout_3") << false << standard;
    QTest::newRow("horizontalLayout_4") << true << standard;
}

void PageLayoutTest::hasMargins()
{
    QFETCH(bool, isNested);
    QFETCH(int, bottom);
    const auto &layout = find<QLayout>(QTest::currentDataTag());

    // A layout within another one has no margins by default.
    QMargins expected;
    if (!isNested) {
        const auto metric = [&layout](QStyle::PixelMetric margin) {
            return QApplication::style()->pixelMetric(margin, nullptr, layout.parentWidget());
        };
        expected = {metric(QStyle::PM_LayoutLeftMargin), metric(QStyle::PM_LayoutTopMargin),
                    metric(QStyle::PM_LayoutRightMargin), metric(QStyle::PM_LayoutBottomMargin)};
    }
    if (bottom >= 0)
        expected.setBottom(bottom);
    QCOMPARE(layout.contentsMargins(), expected);
}

void PageLayoutTest::showsText_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("label")
        << "<html><head/><body><p>Please<span style=\" font-weight:600;\"> select one or "
           "two</span> network adapters from the list of &quot;Available Adapters&quot; below and "
           "create a <span style=\" font-weight:600;\">Single Link</span> or <span style=\" "
           "font-weight:600;\">Dual Link</span> connection by clicking the &quot;Create Single / "
           "Dual Link Connection&quot; button.</p></body></html>";
    QTest::newRow("label_2")
        << "<html><head/><body><p>If Orvanta will be used with <span style=\" "
           "font-weight:600;\">Dual Link</span>, please ensure to connect Network Adapter with two "
           "cables!</p></body></html>";
    QTest::newRow("loadingIcon_lbl") << "";
    QTest::newRow("loadingInfotext_lbl") << "Loading Orvanta network adapters in background...";
    QTest::newRow("groupBox_3") << "Available Adapters";
    QTest::newRow("createSingleLink") << "Create Single Link Connection";
    QTest::newRow("createDualLink") << "Create Dual Link Connection";
    QTest::newRow("groupBox") << "Single Link Connections";
    QTest::newRow("removeSingleLink") << "Remove Connection";
    QTest::newRow("clearSingleLink") << "Clear List";
    QTest::newRow("groupBox_2") << "Dual Link Connections";
    QTest::newRow("removeDualLink") << "Remove Connection";
    QTest::newRow("clearDualLink") << "Clear List";
    QTest::newRow("errorText") << "";
}

void PageLayoutTest::showsText()
{
    QTEST(textOf(find(QTest::currentDataTag())), "text");
}

void PageLayoutTest::translatesText_data()
{
    showsText_data();
}

void PageLayoutTest::translatesText()
{
    QFETCH(QString, text);
    QWizardPage page;
    Ui::NetworkAdapterSelectorPage form;
    form.setupUi(&page);
    const auto &widget = *page.findChild<QWidget *>(QTest::currentDataTag());
    QCOMPARE(textOf(widget), text);

    MarkingTranslator translator;
    QVERIFY(QApplication::installTranslator(&translator));
    form.retranslateUi(&page);
    QCOMPARE(page.windowTitle(), "[Form]");
    QCOMPARE(textOf(widget), text.isEmpty() ? QString() : "[" + text + "]");
}

void PageLayoutTest::wrapsWords_data()
{
    QTest::addColumn<bool>("wraps");
    QTest::newRow("label") << true;
    QTest::newRow("label_2") << false;
    QTest::newRow("loadingInfotext_lbl") << false;
    QTest::newRow("errorText") << true;
}

void PageLayoutTest::wrapsWords()
{
    QTEST(find<QLabel>(QTest::currentDataTag()).wordWrap(), "wraps");
}

void PageLayoutTest::framesLoading()
{
    const auto &frame = find<QFrame>("loading_frame");
    QCOMPARE(frame.frameShape(), QFrame::StyledPanel);
    QCOMPARE(frame.frameShadow(), QFrame::Raised);
}

void PageLayoutTest::fixesLoadingIcon()
{
    const auto &icon = find<QLabel>("loadingIcon_lbl");
    QCOMPARE(icon.minimumSize(), QSize(24, 24));
    QCOMPARE(icon.maximumSize(), QSize(24, 24));
    QCOMPARE(icon.sizePolicy(), QSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred));
}

void PageLayoutTest::hidesLoading()
{
    const auto &frame = find<QFrame>("loading_frame");
    QVERIFY(frame.isHidden());
    QVERIFY(!frame.sizePolicy().retainSizeWhenHidden());
}

void PageLayoutTest::showsErrorsAsRichText()
{
    QCOMPARE(find<QLabel>("errorText").textFormat(), Qt::RichText);
    QVERIFY(find<QLabel>("label_2").isEnabledTo(m_page.get()));
}

void PageLayoutTest::enablesButtons_data()
{
    QTest::addColumn<bool>("isEnabled");
    QTest::newRow("createSingleLink") << false;
    QTest::newRow("createDualLink") << false;
    QTest::newRow("removeSingleLink") << false;
    QTest::newRow("clearSingleLink") << true;
    QTest::newRow("removeDualLink") << false;
    QTest::newRow("clearDualLink") << true;
}

void PageLayoutTest::enablesButtons()
{
    QTEST(find<QPushButton>(QTest::currentDataTag()).isEnabled(), "isEnabled");
}

void PageLayoutTest::selectsRows_data()
{
    QTest::addColumn<QAbstractItemView::SelectionMode>("mode");
    QTest::newRow("availableAdaptersList") << QAbstractItemView::MultiSelection;
    QTest::newRow("singleLinkList") << QAbstractItemView::SingleSelection;
    QTest::newRow("dualLinkList") << QAbstractItemView::SingleSelection;
}

void PageLayoutTest::selectsRows()
{
    QTEST(find<QListView>(QTest::currentDataTag()).selectionMode(), "mode");
}

void PageLayoutTest::givesEachListItsModel()
{
    QList<QAbstractItemModel *> models;
    for (const char *list : {"availableAdaptersList", "singleLinkList", "dualLinkList"}) {
        auto *model = find<QListView>(list).model();
        QVERIFY(qobject_cast<QStandardItemModel *>(model));
        QVERIFY(!model->parent());
        QVERIFY(!models.contains(model));
        models.append(model);
    }
}

void PageLayoutTest::playsLoadingPicture()
{
    QMovie *movie = find<QLabel>("loadingIcon_lbl").movie();
    QVERIFY(movie);
    QCOMPARE(movie->fileName(), ":/loading.gif");
    QCOMPARE(movie->scaledSize(), QSize(24, 24));
    QCOMPARE(movie->state(), QMovie::Running);
    QCOMPARE(movie->currentPixmap().size(), QSize(24, 24));
}

void PageLayoutTest::worksWithoutLoadingPicture()
{
    const MissingImages missing;
    TemporaryPc pc;
    pc.installDriver();
    pc.pc().kernel.devices = {{"A", "Port A", "Port"}, {"B", "Port B", "Port"}};
    const PrintedMessages messages;
    RunningWizard run(pc.pc());
    run.user.openAdapters();

    const auto &icon = run.user.find<QLabel>("loadingIcon_lbl");
    QVERIFY(!icon.movie());
    QVERIFY(icon.text().isEmpty());
    QCOMPARE(run.user.available(), QStringList({"Port A", "Port B"}));
    run.user.click("availableAdaptersList", 1);
    run.user.press("createSingleLink");
    QCOMPARE(run.user.singleLinks(), QStringList{"Port B"});
    QCOMPARE(messages.texts(), QStringList());
}

void PageLayoutTest::leavesNoVisibleRoomToEmptyError()
{
    TemporaryPc pc;
    pc.installDriver();
    RunningWizard run(pc.pc());
    run.user.openAdapters();

    auto &errorText = run.user.find<QLabel>("errorText");
    QVERIFY(errorText.text().isEmpty());
    QVERIFY(errorText.height() <= errorText.fontMetrics().lineSpacing());
    QVERIFY(isOneColour(errorText.grab().toImage()));
}

void PageLayoutTest::isOfItsOwnMetaClass()
{
    QCOMPARE(m_page->metaObject()->className(), "NetworkAdapterSelectorPage");
    QCOMPARE(m_page->metaObject()->superClass(), &QWizardPage::staticMetaObject);
}

void PageLayoutTest::hasMethod_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("result");
    const QByteArray nothing = "void";
    QTest::newRow("onSingleLinkListItemSelectionChanged()") << 0 << nothing;
    QTest::newRow("onDualLinkListItemSelectionChanged()") << 1 << nothing;
    QTest::newRow("onAvailableAdaptersListItemSelectionChanged()") << 2 << nothing;
    QTest::newRow("on_createSingleLink_clicked()") << 3 << nothing;
    QTest::newRow("on_createDualLink_clicked()") << 4 << nothing;
    QTest::newRow("on_removeSingleLink_clicked()") << 5 << nothing;
    QTest::newRow("on_removeDualLink_clicked()") << 6 << nothing;
    QTest::newRow("on_clearSingleLink_clicked()") << 7 << nothing;
    QTest::newRow("on_clearDualLink_clicked()") << 8 << nothing;
    QTest::newRow("on_OrvantaSearchFinished()") << 9 << nothing;
    QTest::newRow("dualLinkConcat(QStringList)") << 10 << QByteArray("QString");
}

void PageLayoutTest::hasMethod()
{
    QFETCH(int, index);
    const QMetaObject &metaObject = NetworkAdapterSelectorPage::staticMetaObject;
    const QMetaMethod method = metaObject.method(metaObject.methodOffset() + index);
    QCOMPARE(method.methodSignature(), QByteArray(QTest::currentDataTag()));
    QTEST(QByteArray(method.typeName()), "result");
    QCOMPARE(method.methodType(), QMetaMethod::Slot);
    QCOMPARE(method.access(), QMetaMethod::Private);
}

void PageLayoutTest::hasProperty_data()
{
    QTest::addColumn<int>("index");
    QTest::newRow("singleLinkResult") << 0;
    QTest::newRow("dualLinkResult") << 1;
}

void PageLayoutTest::hasProperty()
{
    QFETCH(int, index);
    const QMetaObject &metaObject = NetworkAdapterSelectorPage::staticMetaObject;
    const QMetaProperty property = metaObject.property(metaObject.propertyOffset() + index);
    QCOMPARE(QString(property.name()), QString(QTest::currentDataTag()));
    QCOMPARE(property.metaType(), QMetaType::fromType<QStringList>());
    QVERIFY(property.isReadable());
    QVERIFY(!property.isWritable());
    QVERIFY(!property.isResettable());
    QVERIFY(!property.hasNotifySignal());
}

void PageLayoutTest::hasNoOtherMembers()
{
    const QMetaObject &metaObject = NetworkAdapterSelectorPage::staticMetaObject;
    QCOMPARE(metaObject.methodCount() - metaObject.methodOffset(), 11);
    QCOMPARE(metaObject.propertyCount() - metaObject.propertyOffset(), 2);
}

void PageLayoutTest::connectsWithoutWarning()
{
    const PrintedMessages messages;
    const NetworkAdapterSelectorPage page(nullptr);
    QCOMPARE(messages.texts(), QStringList());
}

void PageLayoutTest::publishesFields_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::newRow("SingleLink") << QByteArray("singleLinkResult");
    QTest::newRow("DualLink") << QByteArray("dualLinkResult");
}

void PageLayoutTest::publishesFields()
{
    QFETCH(QByteArray, property);
    QWizard wizard;
    wizard.setPage(1, m_page.release());
    const QVariant field = wizard.field(QTest::currentDataTag());
    QCOMPARE(field.metaType(), QMetaType::fromType<QStringList>());
    QCOMPARE(field, wizard.page(1)->property(property));
}

void PageLayoutTest::leadsToConclusion()
{
    QCOMPARE(m_page->nextId(), 2);
}

GUI_TEST_MAIN(PageLayoutTest)

#include "tst_pagelayout.moc"
