#include "frame/remarkdialog.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QVBoxLayout>

RemarkDialog::RemarkDialog(QWidget *parent) : QWKDialog(false, false, parent)
{
    setFixedSize(320, 197);
    setTitle(QStringLiteral("编辑备注"));

    auto *box = qobject_cast<QVBoxLayout *>(layout());
    box->addStretch(1);
    auto *row = new QHBoxLayout();
    row->addSpacing(20);
    remarkEdit = new QLineEdit(this);
    remarkEdit->setPlaceholderText(QStringLiteral("输入备注"));
    row->addWidget(remarkEdit);
    row->addSpacing(20);
    box->addLayout(row);
    box->addStretch(1);

    addOkCancelButtons(true);
}

QString RemarkDialog::remark() const
{
    return remarkEdit ? remarkEdit->text() : QString();
}

void RemarkDialog::setRemark(const QString &remark)
{
    if (remarkEdit)
        remarkEdit->setText(remark);
}
