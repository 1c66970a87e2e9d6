#include "debug.h"

#include "ui_debug.h"
#include "webengine.h"

#include <QVBoxLayout>
#include <QWebEngineView>

Debug::Debug(QWidget *parent) : QWidget(parent), ui(new Ui::Debug)
{
    ui->setupUi(this);
    prepareWebEngine();
    webView = new QWebEngineView;
    auto *layout = new QVBoxLayout;
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(webView);
    ui->debugBrowser->setLayout(layout);
    webView->load(QUrl("http://127.0.0.1:9024"));
    webView->show();
}

Debug::~Debug()
{
    delete webView;
    delete ui;
}
