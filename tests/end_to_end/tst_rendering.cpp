// Every page at the scale that QT_SCALE_FACTOR sets: no text is cut off, and the pictures are kept
// for a person to look at.

#include "tests/support/GuiTest.h"
#include "tests/support/HeldUpKernel.h"
#include "tests/support/WizardFixture.h"

#include <QAbstractButton>
#include <QDebug>
#include <QDir>
#include <QGroupBox>
#include <QLabel>

namespace
{

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

void RenderingTest::cutsNoTextOff()
{
    m_pc = std::make_unique<TemporaryPc>(PCS_FOLDER "/lamps");
    WizardUser &user = start();
    HeldUpKernel kernel;
    check("introduction");

    user.press(QWizard::NextButton);
    check("search");
    kernel.letGo();
    user.waitForSearch();
    user.click(availableList, 0);
    user.click(singleList, 0);
    check("adapters");

    user.press(QWizard::NextButton);
    check("conclusion");
}

void RenderingTest::cutsNoErrorOff()
{
    m_pc->removeDriver();
    pc().adapters.clear();
    QVERIFY(startOnAdapters().find<QLabel>(errorLabel).isVisible());
    check("error");
}

GUI_TEST_MAIN(RenderingTest)

#include "tst_rendering.moc"
