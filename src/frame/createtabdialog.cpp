#include "frame/createtabdialog.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

CreateTabDialog::CreateTabDialog(const QString &name, bool autoDelete, QWidget *parent)
    : QWKDialog(false, false, parent)
{
    setFixedSize(320, 200);
    setTitle(QStringLiteral("新建标签页"));

    auto *box = qobject_cast<QVBoxLayout *>(layout());
    box->addStretch(1);

    auto *block = new QVBoxLayout();
    block->setSpacing(6);
    auto *nameRow = new QHBoxLayout();
    nameRow->setSpacing(6);
    nameRow->addWidget(new QLabel(QStringLiteral("标签页名字"), this));
    nameEdit = new QLineEdit(name, this);
    nameRow->addWidget(nameEdit);
    block->addLayout(nameRow);
    autoDeleteCheckBox = new QCheckBox(QStringLiteral("复制项是否自动删除"), this);
    autoDeleteCheckBox->setChecked(autoDelete);
    block->addWidget(autoDeleteCheckBox);

    auto *centre = new QHBoxLayout();
    centre->addStretch();
    centre->addLayout(block);
    centre->addStretch();
    box->addLayout(centre);
    box->addStretch(1);

    addOkCancelButtons(true);
}

QString CreateTabDialog::name() const
{
    return nameEdit->text();
}

bool CreateTabDialog::isAutoDelete() const
{
    return autoDeleteCheckBox->isChecked();
}

void CreateTabDialog::showEvent(QShowEvent *event)
{
    QWKDialog::showEvent(event);
    nameEdit->setFocus(Qt::OtherFocusReason);
}
