#include "appfont.h"

#include "config.h"

#include <QApplication>
#include <QFont>
#include <QFontDatabase>

void applyApplicationFont()
{
    const int fontId = QFontDatabase::addApplicationFont(Config::getInstance()->fontPath);
    if (fontId == -1)
        return;
    const QStringList families = QFontDatabase::applicationFontFamilies(fontId);
    if (families.isEmpty())
        return;
    QFont font(families.first());
    font.setPointSize(12);
    QApplication::setFont(font);
}
