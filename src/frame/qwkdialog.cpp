#include "frame/qwkdialog.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

#include "frame/screenfit.h"
#include "frame/titlebar.h"
#include "frame/widgetwindowagent.h"

QWKDialog::QWKDialog(bool hasMin, bool hasMax, QWidget *parent) : QDialog(parent)
{
    setWindowFlags(windowFlags() | Qt::WindowStaysOnTopHint);
    setObjectName(QStringLiteral("QWKDialog"));
    setStyleSheet(QStringLiteral("#QWKDialog{background-color: white;}"));

    windowAgent = new QWK::WidgetWindowAgent(this);
    windowAgent->setup(this);

    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);

    titleBar = new TitleBar(hasMin, hasMax, this);
    titleBar->setObjectName(QStringLiteral("titleBar"));
    titleBar->setStyleSheet(QStringLiteral("background: rgb(255, 255, 255); "));
    titleBar->setIcon(QApplication::windowIcon());
    layout->addWidget(titleBar);
    titleBar->attachTo(windowAgent);
}

void QWKDialog::setTitle(const QString &title)
{
    if (titleBar)
        titleBar->setTitle(title);
}

void QWKDialog::showEvent(QShowEvent *event)
{
    // QDialog has placed the dialog by its parent by now; a parent near an
    // edge could push it off the screen.
    QDialog::showEvent(event);
    fitOnScreen(this);
}

void QWKDialog::addOkCancelButtons(bool showCancel)
{
    auto *row = new QHBoxLayout();
    row->addStretch(1);
    auto *cancelButton = new QPushButton(QStringLiteral("取消"), this);
    cancelButton->setObjectName(QStringLiteral("okCancelBtn"));
    row->addWidget(cancelButton);
    row->addSpacing(10);
    auto *okButton = new QPushButton(QStringLiteral("确定"), this);
    okButton->setObjectName(QStringLiteral("okCancelBtn"));
    // Return in the dialog's edit confirms, never cancels.
    okButton->setDefault(true);
    cancelButton->setAutoDefault(false);
    row->addWidget(okButton);
    row->addSpacing(20);
    if (!showCancel)
        cancelButton->hide();

    if (auto *box = qobject_cast<QVBoxLayout *>(layout())) {
        box->addLayout(row);
        box->addSpacing(20);
    } else {
        delete row;
    }
    connect(cancelButton, &QPushButton::clicked, this, &QDialog::reject);
    connect(okButton, &QPushButton::clicked, this, &QDialog::accept);
}
