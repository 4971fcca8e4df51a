#pragma once

#include "adapter_page/PageId.h"

#include <QWizardPage>

/// First page: tells when to use the wizard.
class IntroductionPage : public QWizardPage
{
public:
    explicit IntroductionPage(QWidget *parent);
    ~IntroductionPage() override = default;

    /// Returns the id of the adapter selection page, always.
    int nextId() const override { return AdapterPageId; }
};
