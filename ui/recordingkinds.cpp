#include "recordingkinds.h"

#include "drivelist.h"
#include "languageparse.h"

#include <QAction>
#include <QColor>
#include <QListWidget>
#include <QMenu>
#include <QPainter>
#include <QPixmap>
#include <QSignalBlocker>

namespace {

const char *const kinds[] = {"normal", "event", "manual", "parking"};

// A small coloured tag with the kind's initial.
QIcon badge(const QString &kind)
{
    const QColor colour = kind == QLatin1String("event")    ? QColor(0xd0, 0x30, 0x30)
                          : kind == QLatin1String("manual") ? QColor(0x20, 0x70, 0xd0)
                                                            : QColor(0x60, 0x60, 0x60);
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(colour);
    p.drawRoundedRect(QRectF(0.5, 0.5, 15, 15), 3, 3);
    p.setPen(Qt::white);
    QFont font = p.font();
    font.setPixelSize(11);
    font.setBold(true);
    p.setFont(font);
    p.drawText(QRect(0, 0, 16, 16), Qt::AlignCenter, kind.left(1).toUpper());
    return QIcon(pixmap);
}

} // namespace

RecordingKinds::RecordingKinds(QMenu *menu, QObject *parent) : QObject(parent)
{
    submenu = menu->addMenu(QString());
    submenu->setObjectName("menuRecordings");
    for (const char *kind : kinds) {
        QAction *a = submenu->addAction(QString());
        a->setObjectName(QStringLiteral("actionShow_%1").arg(kind));
        a->setCheckable(true);
        a->setChecked(true);
        connect(a, &QAction::toggled, this, &RecordingKinds::filterChanged);
        actions.insert(kind, a);
    }
}

void RecordingKinds::retranslate(LanguageParse *language)
{
    submenu->setTitle(language->get("TXT_MENU_RECORDINGS"));
    for (const char *kind : kinds) {
        const QString name = language->get(QStringLiteral("TXT_KIND_%1").arg(kind).toUpper());
        names.insert(kind, name);
        actions.value(kind)->setText(name);
    }
}

bool RecordingKinds::shown(const QString &kind) const
{
    const QAction *a = actions.value(kind);
    return !a || a->isChecked();
}

QStringList RecordingKinds::shownKinds() const
{
    QStringList out;
    for (const char *kind : kinds)
        if (shown(kind))
            out << kind;
    return out;
}

void RecordingKinds::setShownKinds(const QStringList &list)
{
    bool any = false;
    for (const char *kind : kinds)
        any = any || list.contains(kind);
    const QSignalBlocker quiet(this); // the list is filled once, after
    for (const char *kind : kinds)
        actions.value(kind)->setChecked(!any || list.contains(kind));
}

void RecordingKinds::apply(QListWidget *list) const
{
    QListWidgetItem *header = nullptr;
    bool anyShown = false;
    auto closeDrive = [&] {
        if (header)
            header->setHidden(!anyShown);
    };
    for (int row = 0; row < list->count(); ++row) {
        QListWidgetItem *item = list->item(row);
        if (DriveList::isHeader(item)) {
            closeDrive();
            header = item;
            anyShown = false;
            continue;
        }
        const QString kind = DriveList::kindOf(item);
        if (!kind.isEmpty() && kind != QLatin1String("normal")) {
            item->setIcon(badge(kind));
            item->setToolTip(names.value(kind) + "\n" + item->text());
        } else {
            item->setToolTip(item->text());
        }
        item->setHidden(!shown(kind.isEmpty() ? QStringLiteral("normal") : kind));
        anyShown = anyShown || !item->isHidden();
    }
    closeDrive();
}
