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
    explicit AboutDialog(QWidget *parent = nullptr);
    ~AboutDialog() override;

private:
    Ui::AboutDialog *ui;
};
