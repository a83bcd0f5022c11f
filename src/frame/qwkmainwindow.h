#pragma once

#include <QMainWindow>

class QVBoxLayout;
class TitleBar;

namespace QWK {
class WidgetWindowAgent;
}

// A frameless main window with the common title bar; subclasses put their
// content into mainLayout, under the bar.
class QWKMainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit QWKMainWindow(QWidget *parent = nullptr);

    void setTitle(const QString &title);

protected:
    void changeEvent(QEvent *event) override;

    TitleBar *titleBar = nullptr;
    QVBoxLayout *mainLayout = nullptr;
    QWK::WidgetWindowAgent *windowAgent = nullptr;
};
