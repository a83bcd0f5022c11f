#pragma once

#include <QWidget>

class TitleBar;

namespace QWK {
class WidgetWindowAgent;
}

// A frameless top-level widget with the common title bar and a thin line
// under it; subclasses add their content to layout().
class QWKWidget : public QWidget
{
    Q_OBJECT

public:
    explicit QWKWidget(QWidget *parent = nullptr);

    void setTitle(const QString &title);

protected:
    void changeEvent(QEvent *event) override;
    void showEvent(QShowEvent *event) override;

    TitleBar *titleBar = nullptr;
    QWK::WidgetWindowAgent *windowAgent = nullptr;
};
