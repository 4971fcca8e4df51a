// Every page with every palette, at the scale that QT_SCALE_FACTOR sets: no text is cut off, and
// the pictures are kept for a person to look at.

#include "tests/support/GuiTest.h"
#include "tests/support/WizardFixture.h"

#include <QAbstractButton>
#include <QDebug>
#include <QDir>
#include <QGroupBox>
#include <QLabel>
#include <QPalette>

namespace
{

QPalette palette(QColor window, QColor base, QColor text, QColor highlight, QColor disabled)
{
    QPalette palette(text, window, window.lighter(), window.darker(), window.darker(130), text,
                     base);
    palette.setColor(QPalette::Button, window);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::Highlight, highlight);
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, disabled);
    return palette;
}

QPalette paletteNamed(const QString &name)
{
    if (name == "dark")
        return palette("#2b2b2b", "#1e1e1e", "#f0f0f0", "#2a82da", "#8a8a8a");
    if (name == "high-contrast")
        return palette("#000000", "#000000", "#ffffff", "#1aebff", "#3ff23f");
    return QApplication::palette();
}

/// Returns the size that the widget's text needs; nothing for a widget without a text of its own.
QSize neededSize(const QWidget &widget)
{
    const auto *label = qobject_cast<const QLabel *>(&widget);
    if (label && label->wordWrap())
        return {0, label->heightForWidth(label->width())};
    if (label || qobject_cast<const QAbstractButton *>(&widget))
        return widget.minimumSizeHint();
    if (qobject_cast<const QGroupBox *>(&widget))
        return {widget.minimumSizeHint().width(), 0};
    return {};
}

QString cutOffTexts(const QWidget &window)
{
    QString texts;
    QDebug stream(&texts);
    for (const QWidget *widget : window.findChildren<QWidget *>()) {
        const QSize needed = neededSize(*widget);
        if (widget->isVisible() && widget->size().expandedTo(needed) != widget->size())
            stream << widget->objectName() << widget->size() << "of" << needed;
    }
    return texts;
}

} // namespace

class RenderingTest : public WizardFixture
{
    Q_OBJECT

private slots:
    void cutsNoTextOff_data();
    void cutsNoTextOff();
    void cutsNoErrorOff();

private:
    void check(const QString &name);
};

void RenderingTest::check(const QString &name)
{
    QWidget &window = m_run->wizard;
    const QString folder = QString(PICTURE_FOLDER "/%1").arg(qApp->devicePixelRatio() * 100);
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(window.grab().save(folder + "/" + name + ".png"));
    QCOMPARE(cutOffTexts(window), QString());
}

void RenderingTest::cutsNoTextOff_data()
{
    QTest::addColumn<QString>("colours");
    for (const char *colours : {"light", "dark", "high-contrast"})
        QTest::newRow(colours) << colours;
}

void RenderingTest::cutsNoTextOff()
{
    QFETCH(QString, colours);
    QApplication::setPalette(paletteNamed(colours));

    m_pc = std::make_unique<TemporaryPc>(PCS_FOLDER "/lamps");
    WizardUser &user = start();
    check(colours + "-introduction");

    user.press(QWizard::NextButton);
    check(colours + "-search");
    user.waitForSearch();
    user.click(availableList, 0);
    user.click(singleList, 0);
    check(colours + "-adapters");

    user.press(QWizard::NextButton);
    check(colours + "-conclusion");
}

void RenderingTest::cutsNoErrorOff()
{
    QApplication::setPalette(paletteNamed("light"));
    m_pc->removeDriver();
    pc().adapters.clear();
    QVERIFY(startOnAdapters().find<QLabel>(errorLabel).isVisible());
    check("light-error");
}

GUI_TEST_MAIN(RenderingTest)

#include "tst_rendering.moc"
