#include "debug.h"

#include "ui_debug.h"
#include "webengine.h"

#include <QUrl>
#include <QVBoxLayout>
#include <QWebEngineView>

Debug::Debug(QWidget *parent) : QWidget(parent), ui(new Ui::Debug)
{
    ui->setupUi(this);
    setWindowTitle(tr("Velomar: map inspector"));
    prepareWebEngine();
    webView = new QWebEngineView;
    auto *layout = new QVBoxLayout;
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(webView);
    ui->debugBrowser->setLayout(layout);
    webView->load(QUrl(QStringLiteral("http://127.0.0.1:%1").arg(remoteDebuggingPort)));
    webView->show();
}

Debug::~Debug()
{
    delete webView;
    delete ui;
}
