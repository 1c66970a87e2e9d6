#pragma once

// Event, manual and parking recordings in the play list: a badge on each
// such clip, and a filter of which kinds the list shows ("Drive" →
// "Recordings").

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

class LanguageParse;
class QAction;
class QListWidget;
class QMenu;

class RecordingKinds : public QObject
{
    Q_OBJECT
public:
    RecordingKinds(QMenu *menu, QObject *parent = nullptr);
    void retranslate(LanguageParse *language);

    // Badges the clip rows of the list and hides the kinds left out (and a
    // drive's header whose clips are all hidden).
    void apply(QListWidget *list) const;
    bool shown(const QString &kind) const;
    // The kinds the list shows, as the settings keep them; unknown names are
    // ignored, and a list that names none shows all.
    QStringList shownKinds() const;
    void setShownKinds(const QStringList &kinds);

signals:
    void filterChanged();

private:
    QMenu *submenu;
    QHash<QString, QAction *> actions; // "normal", "event", "manual", "parking"
    QHash<QString, QString> names;     // in the language of the window
};
