#pragma once

#include "adapter_page/PageId.h"
#include "tests/support/AdapterPageNames.h"

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

    /// Goes on from the first page to the adapter selection page and waits for its search.
    void goToAdapters();

    /// Opens the wizard and goes on to the adapters.
    void openAdapters();

    /// Leaves the adapter selection page for the first one and comes back.
    void showAdaptersAgain();

    void press(QWizard::WizardButton button);

    /// Presses a button of the adapter selection page, by its object name.
    void press(const char *button);

    /// Presses a key where the focus is.
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);

    /// Presses several keys where the focus is.
    void keys(const QList<Qt::Key> &keys);

    /// Clicks a row of a list of the adapter selection page.
    void click(const char *list, int row);

    /// Clicks several rows, in the given order.
    void click(const char *list, const QList<int> &rows);

    /// Makes a connection of rows of the available list: of one a Single Link, of two a Dual Link.
    void makeLink(const QList<int> &rows);

    bool isSearching() const;
    void waitForSearch();

    bool isEnabled(const char *button) const;

    /// Returns the texts of the buttons that ought to be seen and are not, or in part only.
    QStringList buttonsOffScreen() const;

    /// Returns the names of those of the page's six buttons that are enabled.
    QStringList enabledButtons() const;

    QStringList available() const { return texts(availableList); }
    QStringList singleLinks() const { return texts(singleList); }
    QStringList dualLinks() const { return texts(dualList); }

    /// Returns the texts of the three lists in one.
    QStringList allTexts() const { return available() + singleLinks() + dualLinks(); }

    QStringList texts(const char *list) const;

    /// Returns what each row of a list holds under a role.
    QVariantList values(const char *list, int role) const;

    /// Returns what a row holds under its three roles as one text: "text | A | first" of a port,
    /// "text | [A, B] | [first, second]" of a Dual Link.
    static QString rowText(const QString &text, const QVariant &deviceId,
                           const QVariant &description);

    /// Returns the row texts of a list.
    QStringList rows(const char *list) const;

    /// Returns the colour of each row's lamp: "green", "red", "white", or "none".
    QStringList lamps(const char *list) const;

    /// Puts a row into a list, as the search would.
    void append(const char *list, const QString &text, const QVariant &deviceId = {},
                const QVariant &description = {});

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
    QStandardItemModel &model(const char *list) const;

    QWizard &m_wizard;
};
