#pragma once

#include <QStringList>
#include <QVariant>
#include <QWizard>

class QListView;
class QPoint;
class QStandardItemModel;

/// Uses a wizard as its user does: clicks where a button or a row is on the screen, presses keys
/// where the focus is, and reads what the adapter selection page shows.
class WizardUser
{
public:
    explicit WizardUser(QWizard &wizard);

    /// Opens the wizard and waits until it takes input.
    void open();

    /// Opens the wizard, goes on to the adapter selection page and waits for its search.
    void openAdapters();

    void press(QWizard::WizardButton button);

    /// Presses a button of the adapter selection page, by its object name.
    void press(const char *button);

    /// Presses a key where the focus is.
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);

    /// Clicks a row of a list of the adapter selection page.
    void click(const char *list, int row);

    /// Clicks several rows, in the given order.
    void click(const char *list, const QList<int> &rows);

    bool isSearching() const;
    void waitForSearch();

    bool isEnabled(const char *button) const;

    /// Returns the texts of the buttons that ought to be seen and are not, or in part only.
    QStringList buttonsOffScreen() const;

    QStringList available() const { return texts("availableAdaptersList"); }
    QStringList singleLinks() const { return texts("singleLinkList"); }
    QStringList dualLinks() const { return texts("dualLinkList"); }

    QStringList texts(const char *list) const;

    /// Returns what each row of a list holds under a role.
    QVariantList values(const char *list, int role) const;

    /// Returns the colour of each row's lamp: "green", "red", "white", or "none".
    QStringList lamps(const char *list) const;

    QStandardItemModel &model(const char *list) const;

    template <typename Widget>
    Widget &find(const char *name) const
    {
        auto *widget = m_wizard.findChild<Widget *>(name);
        if (!widget)
            qFatal("Expected a widget named %s", name);
        return *widget;
    }

private:
    void clickAt(QWidget &widget, const QPoint &position);

    QWizard &m_wizard;
};
