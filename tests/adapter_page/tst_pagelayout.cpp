#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "tests/support/DataRows.h"
#include "tests/support/GuiTest.h"
#include "tests/support/MarkingTranslator.h"
#include "tests/support/MissingImages.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/WizardFixture.h"

#include <QFrame>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QListView>
#include <QMetaMethod>
#include <QMetaProperty>
#include <QMovie>
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

/// Returns a line for each child of a class that the form names, sorted: "name: description". Qt's
/// own children have no name or "qt_...".
template <typename Child, typename Describe>
QStringList describeAll(const QWidget &form, Describe describe)
{
    QStringList lines;
    for (Child *child : form.findChildren<Child *>()) {
        if (!child->objectName().isEmpty() && !child->objectName().startsWith("qt_"))
            lines.append(child->objectName() + ": " + describe(*child));
    }
    lines.sort();
    return lines;
}

QString describeWidget(const QWidget &widget)
{
    return QString("%1 in %2")
        .arg(widget.metaObject()->className(), widget.parentWidget()->objectName());
}

QString describeLayout(const QLayout &layout)
{
    QStringList children;
    for (int index = 0; index < layout.count(); ++index)
        children.append(describe(layout.itemAt(index)));
    return QString("%1 in %2: %3")
        .arg(layout.metaObject()->className(), layout.parent()->objectName(), children.join(", "));
}

QString textOf(const QObject &widget)
{
    const char *property = qobject_cast<const QGroupBox *>(&widget) ? "title" : "text";
    return widget.property(property).toString();
}

} // namespace

class PageLayoutTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void init() override;
    void cleanup() override;

    void hasWidgets();
    void arrangesThem();
    void hasMargins();
    void setsProperties_data();
    void setsProperties();
    void showsText_data();
    void showsText();
    void hidesLoading();
    void givesEachListItsModel();
    void playsLoadingPicture();
    void worksWithoutLoadingPicture();
    void leavesNoVisibleRoomToEmptyError();

    void hasMetaMembers();
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
    WizardFixture::init();
    m_page = std::make_unique<NetworkAdapterSelectorPage>(nullptr);
}

void PageLayoutTest::cleanup()
{
    m_page.reset();
    WizardFixture::cleanup();
}

void PageLayoutTest::hasWidgets()
{
    const QStringList expected = {
        "availableAdaptersList: QListView in groupBox_3",
        "clearDualLink: QPushButton in groupBox_2",
        "clearSingleLink: QPushButton in groupBox",
        "contents: QWidget in NetworkAdapterSelectorPage",
        "createDualLink: QPushButton in groupBox_3",
        "createSingleLink: QPushButton in groupBox_3",
        "dualLinkList: QListView in groupBox_2",
        "errorText: QLabel in NetworkAdapterSelectorPage",
        "groupBox: QGroupBox in contents",
        "groupBox_2: QGroupBox in contents",
        "groupBox_3: QGroupBox in contents",
        "label: QLabel in contents",
        "label_2: QLabel in contents",
        "loadingIcon_lbl: QLabel in loading_frame",
        "loadingInfotext_lbl: QLabel in loading_frame",
        "loading_frame: QFrame in contents",
        "removeDualLink: QPushButton in groupBox_2",
        "removeSingleLink: QPushButton in groupBox",
        "singleLinkList: QListView in groupBox",
    };
    QCOMPARE(describeAll<QWidget>(*m_page, describeWidget), expected);
}

void PageLayoutTest::arrangesThem()
{
    const QStringList expected = {
        ("all_layout: QVBoxLayout in verticalLayout: "
         "contents, errorText, spacer 20x40 Minimum Expanding"),
        ("anylayout: QVBoxLayout in contents: "
         "label, label_2, loading_frame, groupBox_3, groupBox, groupBox_2"),
        ("horizontalLayout: QHBoxLayout in verticalLayout_4: "
         "createSingleLink, createDualLink, spacer 40x20 Expanding Minimum"),
        ("horizontalLayout_2: QHBoxLayout in loading_frame: loadingIcon_lbl AlignLeft, "
         "loadingInfotext_lbl AlignLeft, spacer 40x20 Expanding Minimum"),
        ("horizontalLayout_3: QHBoxLayout in verticalLayout_2: "
         "removeSingleLink, spacer 40x20 Expanding Minimum, clearSingleLink"),
        ("horizontalLayout_4: QHBoxLayout in verticalLayout_3: "
         "removeDualLink, spacer 40x20 Expanding Minimum, clearDualLink"),
        "verticalLayout: QVBoxLayout in NetworkAdapterSelectorPage: all_layout",
        "verticalLayout_2: QVBoxLayout in groupBox: singleLinkList, horizontalLayout_3",
        "verticalLayout_3: QVBoxLayout in groupBox_2: dualLinkList, horizontalLayout_4",
        "verticalLayout_4: QVBoxLayout in groupBox_3: availableAdaptersList, horizontalLayout",
    };
    QCOMPARE(describeAll<QLayout>(*m_page, describeLayout), expected);
}

void PageLayoutTest::hasMargins()
{
    for (const QLayout *layout : m_page->findChildren<QLayout *>()) {
        // Qt's own
        if (layout->objectName().isEmpty())
            continue;
        const auto metric = [layout](QStyle::PixelMetric margin) {
            return QApplication::style()->pixelMetric(margin, nullptr, layout->parentWidget());
        };
        QMargins expected = {
            metric(QStyle::PM_LayoutLeftMargin), metric(QStyle::PM_LayoutTopMargin),
            metric(QStyle::PM_LayoutRightMargin), metric(QStyle::PM_LayoutBottomMargin)};
        // A layout within another one has no margins by default.
        if (qobject_cast<QLayout *>(layout->parent()))
            expected = {};
        if (layout->objectName() == "anylayout")
            expected.setBottom(1);
        QVERIFY2(layout->contentsMargins() == expected, qPrintable(layout->objectName()));
    }
}

void PageLayoutTest::setsProperties_data()
{
    QTest::addColumn<QString>("object");
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *object, const char *property, const auto &value) {
        QTest::addRow("%s %s", object, property)
            << object << QByteArray(property) << QVariant::fromValue(value);
    };
    const char *form = "NetworkAdapterSelectorPage";
    row(form, "size", QSize(512, 566));
    row(form, "windowTitle", QString("Form"));
    row(form, "title", QString(""));
    row(form, "subTitle", QString(""));
    row(createSingleLink, "enabled", false);
    row(createDualLink, "enabled", false);
    row(removeSingleLink, "enabled", false);
    row(clearSingleLink, "enabled", true);
    row(removeDualLink, "enabled", false);
    row(clearDualLink, "enabled", true);
    row("label_2", "enabled", true);
    row("label", "wordWrap", true);
    row("label_2", "wordWrap", false);
    row("loadingInfotext_lbl", "wordWrap", false);
    row("errorText", "wordWrap", true);
    row("errorText", "textFormat", Qt::RichText);
    row("loading_frame", "frameShape", QFrame::StyledPanel);
    row("loading_frame", "frameShadow", QFrame::Raised);
    row("loadingIcon_lbl", "minimumSize", QSize(24, 24));
    row("loadingIcon_lbl", "maximumSize", QSize(24, 24));
    row("loadingIcon_lbl", "sizePolicy",
        QSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred));
    row(availableList, "selectionMode", QAbstractItemView::MultiSelection);
    row(singleList, "selectionMode", QAbstractItemView::SingleSelection);
    row(dualList, "selectionMode", QAbstractItemView::SingleSelection);
}

void PageLayoutTest::setsProperties()
{
    QFETCH(QString, object);
    QFETCH(QByteArray, property);
    QFETCH(QVariant, value);
    const QObject &found = object == m_page->objectName() ? *m_page : find(object);
    QCOMPARE(found.property(property), value);
}

void PageLayoutTest::showsText_data()
{
    const DataRows<QString> row("text");
    row("label",
        "<html><head/><body><p>Please<span style=\" font-weight:600;\"> select one or "
        "two</span> network adapters from the list of &quot;Available Adapters&quot; below and "
        "create a <span style=\" font-weight:600;\">Single Link</span> or <span style=\" "
        "font-weight:600;\">Dual Link</span> connection by clicking the &quot;Create Single / "
        "Dual Link Connection&quot; button.</p></body></html>");
    row("label_2",
        "<html><head/><body><p>If Orvanta will be used with <span style=\" "
        "font-weight:600;\">Dual Link</span>, please ensure to connect Network Adapter with two "
        "cables!</p></body></html>");
    row("loadingIcon_lbl", "");
    row("loadingInfotext_lbl", "Loading Orvanta network adapters in background...");
    row("groupBox_3", "Available Adapters");
    row("createSingleLink", "Create Single Link Connection");
    row("createDualLink", "Create Dual Link Connection");
    row("groupBox", "Single Link Connections");
    row("removeSingleLink", "Remove Connection");
    row("clearSingleLink", "Clear List");
    row("groupBox_2", "Dual Link Connections");
    row("removeDualLink", "Remove Connection");
    row("clearDualLink", "Clear List");
    row("errorText", "");
}

void PageLayoutTest::showsText()
{
    QFETCH(QString, text);
    QCOMPARE(textOf(find(QTest::currentDataTag())), text);

    QWizardPage page;
    Ui::NetworkAdapterSelectorPage form;
    form.setupUi(&page);
    MarkingTranslator translator;
    QVERIFY(QApplication::installTranslator(&translator));
    form.retranslateUi(&page);
    QCOMPARE(page.windowTitle(), "[Form]");
    QCOMPARE(textOf(*page.findChild<QWidget *>(QTest::currentDataTag())),
             text.isEmpty() ? QString() : "[" + text + "]");
}

void PageLayoutTest::hidesLoading()
{
    const auto &frame = find<QFrame>("loading_frame");
    QVERIFY(frame.isHidden());
    QVERIFY(!frame.sizePolicy().retainSizeWhenHidden());
}

void PageLayoutTest::givesEachListItsModel()
{
    QList<QAbstractItemModel *> models;
    for (const char *list : {availableList, singleList, dualList}) {
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
    m_pc->setPorts({{"A", "Port A"}, {"B", "Port B"}});
    const PrintedMessages messages;
    WizardUser &user = startOnAdapters();

    const auto &icon = user.find<QLabel>("loadingIcon_lbl");
    QVERIFY(!icon.movie());
    QVERIFY(icon.text().isEmpty());
    QCOMPARE(user.available(), QStringList({"Port A", "Port B"}));
    user.makeLink({1});
    QCOMPARE(user.singleLinks(), QStringList{"Port B"});
    QCOMPARE(messages.texts(), QStringList());
}

void PageLayoutTest::leavesNoVisibleRoomToEmptyError()
{
    auto &errorText = startOnAdapters().find<QLabel>("errorText");
    QVERIFY(errorText.text().isEmpty());
    QVERIFY(errorText.height() <= errorText.fontMetrics().lineSpacing());
    const QImage shown = errorText.grab().toImage();
    QImage oneColour = shown;
    oneColour.fill(shown.pixelColor(0, 0));
    QCOMPARE(shown, oneColour);
}

void PageLayoutTest::hasMetaMembers()
{
    const QMetaObject &metaObject = *m_page->metaObject();
    QCOMPARE(metaObject.className(), "NetworkAdapterSelectorPage");
    QCOMPARE(metaObject.superClass(), &QWizardPage::staticMetaObject);

    QStringList methods;
    for (int index = metaObject.methodOffset(); index < metaObject.methodCount(); ++index) {
        const QMetaMethod method = metaObject.method(index);
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        QCOMPARE(method.access(), QMetaMethod::Private);
        methods.append(method.typeName() + (" " + method.methodSignature()));
    }
    const QStringList expected = {
        "void onSingleLinkListItemSelectionChanged()",
        "void onDualLinkListItemSelectionChanged()",
        "void onAvailableAdaptersListItemSelectionChanged()",
        "void on_createSingleLink_clicked()",
        "void on_createDualLink_clicked()",
        "void on_removeSingleLink_clicked()",
        "void on_removeDualLink_clicked()",
        "void on_clearSingleLink_clicked()",
        "void on_clearDualLink_clicked()",
        "void on_OrvantaSearchFinished()",
        "QString dualLinkConcat(QStringList)",
    };
    QCOMPARE(methods, expected);

    QStringList properties;
    for (int index = metaObject.propertyOffset(); index < metaObject.propertyCount(); ++index) {
        const QMetaProperty property = metaObject.property(index);
        properties.append(property.name());
        QCOMPARE(property.metaType(), QMetaType::fromType<QStringList>());
        QVERIFY(property.isReadable());
        QVERIFY(!property.isWritable());
        QVERIFY(!property.isResettable());
        QVERIFY(!property.hasNotifySignal());
    }
    QCOMPARE(properties, QStringList({"singleLinkResult", "dualLinkResult"}));
}

void PageLayoutTest::publishesFields()
{
    QWizard wizard;
    wizard.setPage(1, m_page.release());
    for (const auto &[name, property] :
         {std::pair("SingleLink", "singleLinkResult"), std::pair("DualLink", "dualLinkResult")}) {
        QCOMPARE(wizard.field(name).metaType(), QMetaType::fromType<QStringList>());
        QCOMPARE(wizard.field(name), wizard.page(1)->property(property));
    }
}

void PageLayoutTest::leadsToConclusion()
{
    QCOMPARE(m_page->nextId(), 2);
}

GUI_TEST_MAIN(PageLayoutTest)

#include "tst_pagelayout.moc"
