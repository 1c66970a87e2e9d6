#pragma once

#include <QDialog>

class QMovie;
namespace Ui {
class LoadingDialog;
}

// The frameless busy spinner shown while a track is read.
class LoadingDialog : public QDialog
{
    Q_OBJECT
public:
    explicit LoadingDialog(QWidget *parent = nullptr);
    ~LoadingDialog() override;

    QMovie *animation() const { return movie; }

private:
    Ui::LoadingDialog *ui;
    QMovie *movie;
};
