#include "frame/confirmdialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

ConfirmDialog::ConfirmDialog(const QString &text, bool showCancel, QWidget *parent)
    : QWKDialog(false, false, parent)
{
    setFixedSize(320, 200);
    setTitle(tr("notice"));

    auto *box = qobject_cast<QVBoxLayout *>(layout());
    box->addStretch(1);
    auto *row = new QHBoxLayout();
    row->addStretch();
    label = new QLabel(text, this);
    row->addWidget(label);
    row->addStretch();
    box->addLayout(row);
    box->addStretch(1);

    addOkCancelButtons(showCancel);
}
