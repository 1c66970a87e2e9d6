#pragma once

#include <QDialog>

namespace Ui {
class AboutDialog;
}

// The logo and the build information from build.info.
class AboutDialog : public QDialog
{
    Q_OBJECT
public:
    // buildInfo: the file to show, build.info beside res/ unless given.
    explicit AboutDialog(QWidget *parent = nullptr, const QString &buildInfo = QString());
    ~AboutDialog() override;

private:
    Ui::AboutDialog *ui;
};
