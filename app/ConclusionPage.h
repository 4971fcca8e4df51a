#pragma once

#include <QWizardPage>

/// Last page: confirms the configuration. The wizard itself writes the file.
class ConclusionPage : public QWizardPage
{
public:
    explicit ConclusionPage(QWidget *parent);
    ~ConclusionPage() override = default;
};
