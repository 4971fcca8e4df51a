#include "tests/support/WizardUser.h"

#include "adapter_page/LinkRules.h"
#include "tests/support/Patience.h"

#include <QAbstractButton>
#include <QFileInfo>
#include <QListView>
#include <QScreen>
#include <QStandardItemModel>
#include <QTest>
#include <QTimer>
#include <QWindow>

namespace
{

QImage lampImage(const QIcon &icon)
{
    return icon.pixmap(32, 32).toImage().convertToFormat(QImage::Format_ARGB32);
}

QString lampColour(const QIcon &icon)
{
    if (icon.isNull())
        return "none";
    for (const Lamp &lamp : allLamps) {
        if (lampImage(icon) == lampImage(QIcon(lamp.image)))
            return QFileInfo(lamp.image).baseName();
    }
    return "unknown";
}

QString valueText(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QStringList>())
        return "[" + value.toStringList().join(", ") + "]";
    return value.toString();
}

} // namespace

WizardUser::WizardUser(QWizard &wizard) : m_wizard(wizard) {}

void WizardUser::open()
{
    m_wizard.show();
    QVERIFY2(QTest::qWaitForWindowActive(&m_wizard, patienceMs),
             "Expected the wizard to take input");
}

void WizardUser::goToAdapters()
{
    press(QWizard::NextButton);
    waitForSearch();
}

void WizardUser::openAdapters()
{
    open();
    goToAdapters();
}

void WizardUser::showAdaptersAgain()
{
    press(QWizard::BackButton);
    press(QWizard::NextButton);
}

void WizardUser::press(QWizard::WizardButton button)
{
    clickAt(*m_wizard.button(button), m_wizard.button(button)->rect().center());
}

void WizardUser::press(const char *button)
{
    auto &widget = find<QAbstractButton>(button);
    clickAt(widget, widget.rect().center());
}

void WizardUser::key(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(m_wizard.windowHandle(), key, modifiers);
}

void WizardUser::keys(const QList<Qt::Key> &keys)
{
    for (const Qt::Key each : keys)
        key(each);
}

void WizardUser::click(const char *list, int row)
{
    auto &view = find<QListView>(list);
    const QModelIndex index = view.model()->index(row, 0);
    QVERIFY2(index.isValid(), qPrintable(QString("Expected row %1 in %2").arg(row).arg(list)));
    view.scrollTo(index);
    clickAt(*view.viewport(), view.visualRect(index).center());
}

void WizardUser::click(const char *list, const QList<int> &rows)
{
    for (const int row : rows)
        click(list, row);
}

void WizardUser::makeLink(const QList<int> &rows)
{
    click(availableList, rows);
    press(rows.size() == 1 ? createSingleLink : createDualLink);
}

bool WizardUser::isSearching() const
{
    return !find<QWidget>(loadingFrame).isHidden();
}

void WizardUser::waitForSearch()
{
    // Wakes up with the event that ends the search, where QTest::qWaitFor would sleep.
    QTimer timeout;
    timeout.setSingleShot(true);
    timeout.start(patienceMs);
    while (isSearching() && timeout.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QVERIFY2(!isSearching(), "Expected the search to end");
}

bool WizardUser::isEnabled(const char *button) const
{
    return find<QAbstractButton>(button).isEnabled();
}

QStringList WizardUser::buttonsOffScreen() const
{
    const QRect area = m_wizard.screen()->availableGeometry();
    QStringList texts;
    for (const auto *button : m_wizard.findChildren<QAbstractButton *>()) {
        const QRect place(button->mapToGlobal(QPoint()), button->size());
        const bool isCovered = button->visibleRegion().boundingRect() != button->rect();
        if (button->isVisible() && (isCovered || !area.contains(place)))
            texts.append(button->text());
    }
    return texts;
}

QStringList WizardUser::enabledButtons() const
{
    QStringList names;
    for (const char *button : {createSingleLink, createDualLink, removeSingleLink, clearSingleLink,
                               removeDualLink, clearDualLink}) {
        if (isEnabled(button))
            names.append(button);
    }
    return names;
}

QStringList WizardUser::texts(const char *list) const
{
    QStringList texts;
    for (const QVariant &text : values(list, Qt::DisplayRole))
        texts.append(text.toString());
    return texts;
}

QVariantList WizardUser::values(const char *list, int role) const
{
    QVariantList values;
    for (int row = 0; row < model(list).rowCount(); ++row)
        values.append(model(list).index(row, 0).data(role));
    return values;
}

QString WizardUser::rowText(const QString &text, const QVariant &deviceId,
                            const QVariant &description)
{
    return QStringList{text, valueText(deviceId), valueText(description)}.join(" | ");
}

QStringList WizardUser::rows(const char *list) const
{
    QStringList rows;
    for (int row = 0; row < model(list).rowCount(); ++row) {
        const QStandardItem *item = model(list).item(row);
        rows.append(rowText(item->text(), item->data(deviceIdRole), item->data(descriptionRole)));
    }
    return rows;
}

QStringList WizardUser::lamps(const char *list) const
{
    QStringList lamps;
    for (int row = 0; row < model(list).rowCount(); ++row)
        lamps.append(lampColour(model(list).item(row)->icon()));
    return lamps;
}

void WizardUser::append(const char *list, const QString &text, const QVariant &deviceId,
                        const QVariant &description)
{
    auto *item = new QStandardItem(text);
    item->setData(deviceId, deviceIdRole);
    item->setData(description, descriptionRole);
    model(list).appendRow(item);
}

QStandardItemModel &WizardUser::model(const char *list) const
{
    auto *model = qobject_cast<QStandardItemModel *>(find<QListView>(list).model());
    if (!model)
        qFatal("Expected %s to have a model", list);
    return *model;
}

void WizardUser::clickAt(QWidget &widget, const QPoint &position)
{
    QVERIFY2(widget.isVisible(), qPrintable("Expected to see " + widget.objectName()));
    // Through the window, so that the click reaches what lies there on the screen.
    QWidget *window = widget.window();
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {}, widget.mapTo(window, position));
}
