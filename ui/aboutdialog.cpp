#include "aboutdialog.h"

#include "config.h"
#include "ui_aboutdialog.h"

#include <QFile>
#include <QPixmap>
#include <QTextStream>

AboutDialog::AboutDialog(QWidget *parent, const QString &buildInfo)
    : QDialog(parent), ui(new Ui::AboutDialog)
{
    ui->setupUi(this);
    setFixedSize(425, 180);
    ui->logo->setPixmap(
        QPixmap(Config::getInstance()->imageDir + "/logo.png")
            .scaled(ui->logo->size(), Qt::IgnoreAspectRatio, Qt::FastTransformation));

    QFile file(buildInfo.isEmpty() ? Config::buildInfoPath() : buildInfo);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    QTextStream in(&file);
    in.setCodec("UTF-8");
    QStringList lines;
    while (!in.atEnd()) {
        const QString line = in.readLine().remove(QLatin1Char('"')).trimmed();
        if (!line.isEmpty())
            lines << line;
    }
    if (lines.size() < 4)
        return; // the form's texts stay
    ui->txtVersion->setText(lines[0]);
    ui->txtBuildDate->setText(lines[1]);
    ui->txtGit->setText(lines[2]);
    const QString name = lines.value(4);
    setWindowTitle(name.startsWith("Name: ") ? "About " + name.mid(6) : "About Velomar Viewer");
}

AboutDialog::~AboutDialog()
{
    delete ui;
}
