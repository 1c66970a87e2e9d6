#include "exportdialog.h"

#include "languageparse.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

ExportDialog::ExportDialog(LanguageParse *lang, const QString &stretch, const QString &suggested,
                           QWidget *parent)
    : QDialog(parent), language(lang)
{
    setObjectName("exportDialog");
    setWindowTitle(language->get("TXT_EXPORT_TITLE"));
    auto *form = new QFormLayout;

    auto *what = new QLabel(stretch);
    what->setObjectName("exportStretch");
    form->addRow(language->get("TXT_EXPORT_STRETCH"), what);

    file = new QLineEdit(suggested);
    file->setObjectName("exportFile");
    auto *browseButton = new QPushButton(language->get("TXT_EXPORT_BROWSE"));
    connect(browseButton, &QPushButton::clicked, this, &ExportDialog::browse);
    auto *fileRow = new QHBoxLayout;
    fileRow->addWidget(file, 1);
    fileRow->addWidget(browseButton);
    form->addRow(language->get("TXT_EXPORT_FILE"), fileRow);

    copy = new QCheckBox(language->get("TXT_EXPORT_COPY"));
    copy->setObjectName("exportCopy");
    connect(copy, &QCheckBox::toggled, this, &ExportDialog::overlayToggled);
    form->addRow(QString(), copy);

    layout = new QComboBox;
    layout->setObjectName("exportLayout");
    layout->addItem(language->get("TXT_EXPORT_CORNER"));
    layout->addItem(language->get("TXT_EXPORT_BAR"));
    form->addRow(language->get("TXT_EXPORT_LAYOUT"), layout);

    auto *shown = new QVBoxLayout;
    auto check = [&](const char *key, const char *name) {
        auto *c = new QCheckBox(language->get(key));
        c->setObjectName(name);
        c->setChecked(true);
        shown->addWidget(c);
        return c;
    };
    time = check("TXT_EXPORT_TIME", "exportTime");
    speed = check("TXT_EXPORT_SPEED", "exportSpeed");
    gauge = check("TXT_EXPORT_GAUGE", "exportGauge");
    coordinates = check("TXT_EXPORT_COORDS", "exportCoordinates");
    route = check("TXT_EXPORT_ROUTE", "exportRoute");
    form->addRow(language->get("TXT_EXPORT_SHOW"), shown);

    preset = new QComboBox;
    preset->setObjectName("exportPreset");
    preset->addItem(language->get("TXT_EXPORT_FAST"), "fast");
    preset->addItem(language->get("TXT_EXPORT_BALANCED"), "balanced");
    preset->addItem(language->get("TXT_EXPORT_SMALL"), "small");
    preset->setCurrentIndex(1);
    form->addRow(language->get("TXT_EXPORT_PRESET"), preset);

    gpx = new QCheckBox(language->get("TXT_EXPORT_GPX"));
    gpx->setObjectName("exportGpx");
    form->addRow(QString(), gpx);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText(language->get("TXT_EXPORT_START"));
    buttons->button(QDialogButtonBox::Cancel)->setText(language->get("TXT_TIP_NO"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *box = new QVBoxLayout(this);
    box->addLayout(form);
    box->addWidget(buttons);
    box->setSizeConstraint(QLayout::SetFixedSize); // sized to its texts in every language
}

void ExportDialog::browse()
{
    const QString chosen = QFileDialog::getSaveFileName(this, language->get("TXT_EXPORT_TITLE"),
                                                        file->text(), "MP4 (*.mp4)");
    if (!chosen.isEmpty())
        file->setText(chosen.endsWith(".mp4", Qt::CaseInsensitive) ? chosen : chosen + ".mp4");
}

void ExportDialog::overlayToggled()
{
    const bool overlay = !copy->isChecked();
    for (QWidget *w :
         std::initializer_list<QWidget *>{layout, preset, time, speed, gauge, coordinates, route})
        w->setEnabled(overlay);
}

videoexport::Options ExportDialog::options() const
{
    videoexport::Options o;
    o.output = file->text();
    o.overlay = !copy->isChecked();
    o.preset = preset->currentData().toString();
    o.gpx = gpx->isChecked();
    o.panel.layout = layout->currentIndex() == 1 ? dashboard::PanelOptions::Layout::Bar
                                                 : dashboard::PanelOptions::Layout::Corner;
    o.panel.time = time->isChecked();
    o.panel.speed = speed->isChecked();
    o.panel.gauge = gauge->isChecked();
    o.panel.coordinates = coordinates->isChecked();
    o.panel.route = route->isChecked();
    return o;
}

void ExportDialog::setOptions(const videoexport::Options &o)
{
    copy->setChecked(!o.overlay);
    preset->setCurrentIndex(std::max(0, preset->findData(o.preset)));
    gpx->setChecked(o.gpx);
    layout->setCurrentIndex(o.panel.layout == dashboard::PanelOptions::Layout::Bar ? 1 : 0);
    time->setChecked(o.panel.time);
    speed->setChecked(o.panel.speed);
    gauge->setChecked(o.panel.gauge);
    coordinates->setChecked(o.panel.coordinates);
    route->setChecked(o.panel.route);
    overlayToggled();
}
