#pragma once

#include <QWizard>

/// The wizard: introduction, adapter selection, conclusion.
class OrvantaConfigurator : public QWizard
{
    Q_OBJECT

public:
    explicit OrvantaConfigurator(QWidget *parent = nullptr);
    ~OrvantaConfigurator() override = default;

    /// Returns the path of the connection configuration file that accept() writes.
    QString configFilePath() const;

    /// Writes the connections to the configuration file, silently when that fails, and closes the
    /// wizard.
    void accept() override;
};
