#pragma once

#include <QLineEdit>

class QPushButton;

// The search field: a magnifier in front, a clear button at the end that
// shows only while there is text.
class FilterLineEdit : public QLineEdit
{
    Q_OBJECT

public:
    explicit FilterLineEdit(QWidget *parent = nullptr);

    // Takes the focus and adds text typed while the list had it.
    void appendText(QString text);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QPushButton *clearButton = nullptr;
};
