#include "adapter_page/NetworkAdapterSelectorPage.h"
#include "tests/support/GuiTest.h"
#include "tests/support/MarkingTranslator.h"
#include "tests/support/MissingImages.h"
#include "tests/support/PrintedMessages.h"
#include "tests/support/WizardFixture.h"

#include <QFile>
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

/// What the form may set, of whatever class the widget is.
constexpr const char *properties[] = {
    "enabled",  "minimumSize", "maximumSize",   "sizePolicy",     "frameShape", "frameShadow",
    "wordWrap", "textFormat",  "selectionMode", "accessibleName", "title",      "text"};

template <typename Enum>
QString enumName(Enum value)
{
    return QMetaEnum::fromType<Enum>().valueToKey(value);
}

QString describe(const QSizePolicy &policy)
{
    return enumName(policy.horizontalPolicy()) + " " + enumName(policy.verticalPolicy());
}

QString describe(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QSizePolicy>())
        return describe(value.value<QSizePolicy>());
    if (value.metaType() == QMetaType::fromType<QSize>())
        return QString("%1x%2").arg(value.toSize().width()).arg(value.toSize().height());
    return value.toString();
}

/// Returns a widget of the same class that no form has touched.
std::unique_ptr<QWidget> plainWidget(const QWidget &widget)
{
    const QString className = widget.metaObject()->className();
    if (className == "QFrame")
        return std::make_unique<QFrame>();
    if (className == "QGroupBox")
        return std::make_unique<QGroupBox>();
    if (className == "QLabel")
        return std::make_unique<QLabel>();
    if (className == "QListView")
        return std::make_unique<QListView>();
    if (className == "QPushButton")
        return std::make_unique<QPushButton>();
    return std::make_unique<QWidget>();
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
        text = "spacer " + describe(QVariant(item->sizeHint())) + " " +
               describe(item->spacerItem()->sizePolicy());
    }
    if (item->alignment() == Qt::AlignLeft)
        return text + " AlignLeft";
    return item->alignment() == Qt::Alignment() ? text : text + " aligned otherwise";
}

/// Returns the children of a class that the form names, by their names. Qt's own have no name or
/// "qt_...".
template <typename Child>
QMap<QString, Child *> namedChildren(const QWidget &form)
{
    QMap<QString, Child *> children;
    for (Child *child : form.findChildren<Child *>()) {
        if (!child->objectName().isEmpty() && !child->objectName().startsWith("qt_"))
            children.insert(child->objectName(), child);
    }
    return children;
}

/// Returns the form in words: each widget with its class, parent and the properties that the form
/// has changed, then each layout with its class, parent and items.
QString describeForm(const QWidget &form)
{
    const auto titleOf = [](const QObject &object) {
        return QString("%1 %2").arg(object.metaObject()->className(), object.objectName());
    };
    QStringList lines;
    for (const QWidget *widget : namedChildren<QWidget>(form)) {
        lines.append(titleOf(*widget) + " in " + widget->parentWidget()->objectName());
        const auto plain = plainWidget(*widget);
        for (const char *property : properties) {
            const QString value = describe(widget->property(property));
            if (value != describe(plain->property(property)))
                lines.append(QString("    %1: %2").arg(property, value));
        }
    }
    for (const QLayout *layout : namedChildren<QLayout>(form)) {
        lines.append(titleOf(*layout) + " in " + layout->parent()->objectName());
        for (int index = 0; index < layout->count(); ++index)
            lines.append("    " + describe(layout->itemAt(index)));
    }
    return lines.join('\n') + '\n';
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

    void isAsRecorded();
    void hasTitleAndSize();
    void hasMargins();
    void translatesTexts();
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

/// The form as it is found lies in the build folder then, to be compared and copied.
void PageLayoutTest::isAsRecorded()
{
    const QString found = describeForm(*m_page);
    QFile written(WRITTEN_FORM);
    QVERIFY(written.open(QIODevice::WriteOnly));
    written.write(found.toUtf8());
    QFile recorded(RECORDED_FORM);
    QVERIFY(recorded.open(QIODevice::ReadOnly));
    QVERIFY2(recorded.readAll() == found.toUtf8(), "Expected " RECORDED_FORM ", see " WRITTEN_FORM);
}

void PageLayoutTest::hasTitleAndSize()
{
    QCOMPARE(m_page->objectName(), "NetworkAdapterSelectorPage");
    QCOMPARE(m_page->size(), QSize(512, 566));
    QCOMPARE(m_page->windowTitle(), "Form");
    QCOMPARE(m_page->title(), "");
    QCOMPARE(m_page->subTitle(), "");
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

void PageLayoutTest::translatesTexts()
{
    QWizardPage page;
    Ui::NetworkAdapterSelectorPage form;
    form.setupUi(&page);
    MarkingTranslator translator;
    QVERIFY(QApplication::installTranslator(&translator));
    form.retranslateUi(&page);
    QCOMPARE(page.windowTitle(), "[Form]");
    for (const QWidget *widget : namedChildren<QWidget>(page)) {
        const QString text = textOf(find(widget->objectName()));
        QCOMPARE(textOf(*widget), text.isEmpty() ? QString() : "[" + text + "]");
    }
}

void PageLayoutTest::hidesLoading()
{
    QVERIFY(find<QFrame>("loading_frame").isHidden());
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
    wizard.setPage(AdapterPageId, m_page.release());
    for (const auto &[name, property] :
         {std::pair("SingleLink", "singleLinkResult"), std::pair("DualLink", "dualLinkResult")}) {
        QCOMPARE(wizard.field(name).metaType(), QMetaType::fromType<QStringList>());
        QCOMPARE(wizard.field(name), wizard.page(AdapterPageId)->property(property));
    }
}

void PageLayoutTest::leadsToConclusion()
{
    QCOMPARE(m_page->nextId(), ConclusionPageId);
}

GUI_TEST_MAIN(PageLayoutTest)

#include "tst_pagelayout.moc"
