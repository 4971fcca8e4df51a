#include "tests/support/WizardFixture.h"

#include <QTest>

void WizardFixture::init()
{
    m_pc = std::make_unique<TemporaryPc>();
    m_pc->installDriver();
    pc().adapters = {{"Office"}};
}

void WizardFixture::cleanup()
{
    m_run.reset();
    m_changedWindows.reset();
    m_pc.reset();
}

WizardUser &WizardFixture::start()
{
    m_run.reset();
    m_run = std::make_unique<RunningWizard>(pc());
    m_run->user.open();
    return m_run->user;
}

WizardUser &WizardFixture::startOnAdapters()
{
    WizardUser &user = start();
    user.goToAdapters();
    return user;
}

void WizardFixture::setWindowsAdapters(const QList<SimulatedAdapter> &adapters)
{
    pc().adapters = adapters;
    m_changedWindows.emplace(pc());
    platform::windowsApi().GetAdaptersAddresses.function =
        m_changedWindows->functions().GetAdaptersAddresses;
}

void WizardFixture::callPage(const char *slot)
{
    QVERIFY(QMetaObject::invokeMethod(m_run->wizard.page(AdapterPageId), slot));
}

QStringList WizardFixture::singleLinkField() const
{
    return m_run->wizard.field("SingleLink").toStringList();
}

QStringList WizardFixture::dualLinkField() const
{
    return m_run->wizard.field("DualLink").toStringList();
}
