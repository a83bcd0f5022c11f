#pragma once

#include "frame/qwkdialog.h"

class QLineEdit;

// Edits the remark of a history item.
class RemarkDialog : public QWKDialog
{
    Q_OBJECT

public:
    explicit RemarkDialog(QWidget *parent = nullptr);

    QString remark() const;
    void setRemark(const QString &remark);

private:
    QLineEdit *remarkEdit = nullptr;
};
