#pragma once

#include "frame/qwkdialog.h"

class QLabel;

// Asks the user to confirm something; without a cancel button it is a notice.
class ConfirmDialog : public QWKDialog
{
    Q_OBJECT

public:
    ConfirmDialog(const QString &text, bool showCancel, QWidget *parent = nullptr);

private:
    QLabel *label = nullptr;
};
