#pragma once

// "Export video…": where to write the stretch and what the burnt-in
// dashboard shows, laid out from its texts in the window's language.

#include "videoexport.h"

#include <QDialog>

class LanguageParse;
class QCheckBox;
class QComboBox;
class QLineEdit;

class ExportDialog : public QDialog
{
    Q_OBJECT
public:
    // `stretch` describes what is exported ("14:03:10 – 14:05:10, 2 min").
    ExportDialog(LanguageParse *language, const QString &stretch, const QString &suggested,
                 QWidget *parent = nullptr);
    // The choices, the unit and limit of the window added by the caller.
    videoexport::Options options() const;
    void setOptions(const videoexport::Options &options);

private:
    void browse();
    void overlayToggled();

    LanguageParse *language;
    QLineEdit *file;
    QComboBox *layout;
    QComboBox *preset;
    QCheckBox *time, *speed, *gauge, *coordinates, *route;
    QCheckBox *gpx;
    QCheckBox *copy;
};
