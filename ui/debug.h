#pragma once

#include <QWidget>

class QWebEngineView;
namespace Ui {
class Debug;
}

// The web engine's remote inspector for the map page (port 9024), opened at
// start with --debug only.
class Debug : public QWidget
{
    Q_OBJECT
public:
    explicit Debug(QWidget *parent = nullptr);
    ~Debug() override;

    QWebEngineView *view() const { return webView; }

private:
    Ui::Debug *ui;
    QWebEngineView *webView;
};
