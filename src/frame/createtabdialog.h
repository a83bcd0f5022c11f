#pragma once

#include "frame/qwkdialog.h"

class QCheckBox;
class QLineEdit;

// Asks for the name of a new tab, or a new name for one, and whether its
// items may be deleted automatically.
class CreateTabDialog : public QWKDialog
{
    Q_OBJECT

public:
    CreateTabDialog(const QString &name, bool autoDelete, QWidget *parent = nullptr);

    QString name() const;
    bool isAutoDelete() const;

protected:
    void showEvent(QShowEvent *event) override;

private:
    QLineEdit *nameEdit = nullptr;
    QCheckBox *autoDeleteCheckBox = nullptr;
};
