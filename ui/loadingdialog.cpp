#include "loadingdialog.h"

#include "config.h"
#include "ui_loadingdialog.h"

#include <QMovie>

LoadingDialog::LoadingDialog(QWidget *parent) : QDialog(parent), ui(new Ui::LoadingDialog)
{
    ui->setupUi(this);
    setWindowFlags(Qt::FramelessWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    // Runs for the dialog's whole life, hidden or not, so it never restarts
    // visibly; the dialog is made once and reused.
    movie = new QMovie(Config::getInstance()->imageDir + "/loading.gif");
    ui->loadingImage->setMovie(movie);
    movie->start();
}

LoadingDialog::~LoadingDialog()
{
    delete ui;
}
