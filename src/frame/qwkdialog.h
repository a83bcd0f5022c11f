#pragma once

#include <QDialog>

class TitleBar;

namespace QWK {
class WidgetWindowAgent;
}

// A frameless dialog that stays on top, with the common title bar carrying
// the application icon.
class QWKDialog : public QDialog
{
    Q_OBJECT

public:
    QWKDialog(bool hasMin, bool hasMax, QWidget *parent = nullptr);

    void setTitle(const QString &title);

protected:
    // Appends the cancel / ok row to the dialog's layout.
    void addOkCancelButtons(bool showCancel);
    void showEvent(QShowEvent *event) override;

    TitleBar *titleBar = nullptr;
    QWK::WidgetWindowAgent *windowAgent = nullptr;
};
