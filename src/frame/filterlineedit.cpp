#include "frame/filterlineedit.h"

#include <QAction>
#include <QHBoxLayout>
#include <QIcon>
#include <QKeyEvent>
#include <QPushButton>

FilterLineEdit::FilterLineEdit(QWidget *parent) : QLineEdit(parent)
{
    setContextMenuPolicy(Qt::NoContextMenu);
    setPlaceholderText(QStringLiteral("搜索"));
    setStyleSheet(QStringLiteral("border-width:0;border-radius:6px;background-color: rgb(236, 239, 247);"));

    auto *searchAction = new QAction(QIcon(QStringLiteral(":/images/icons/search.svg")), QString(), this);
    addAction(searchAction, QLineEdit::LeadingPosition);

    clearButton = new QPushButton(this);
    clearButton->setIcon(QIcon(QStringLiteral(":/images/icons/clearText.svg")));
    clearButton->setStyleSheet(QStringLiteral("QPushButton:hover{background-color:rgb(217, 217, 217);}"));
    clearButton->setSizePolicy(QSizePolicy::Fixed, clearButton->sizePolicy().verticalPolicy());
    clearButton->setFixedWidth(clearButton->iconSize().width() + 6);
    clearButton->setFlat(true);

    connect(clearButton, &QPushButton::clicked, this, &QLineEdit::clear);
    connect(this, &QLineEdit::textChanged, this,
            [this](const QString &text) { clearButton->setVisible(!text.isEmpty()); });

    clearButton->hide();
    clearButton->setFocusPolicy(Qt::NoFocus);
    clearButton->setCursor(Qt::ArrowCursor);

    auto *box = new QHBoxLayout(this);
    box->addStretch(0);
    box->addWidget(clearButton, 0, Qt::AlignRight);
    box->setContentsMargins(0, 0, 0, 0);
    // Keeps the text from running under the button.
    setTextMargins(0, 0, clearButton->width(), 0);
}

void FilterLineEdit::appendText(QString text)
{
    setFocus(Qt::OtherFocusReason);
    setText(this->text() + text);
}

void FilterLineEdit::keyPressEvent(QKeyEvent *event)
{
    // Ctrl+C with nothing selected belongs to the window: it copies the
    // current row of the list.
    if (event->modifiers() == Qt::ControlModifier && event->key() == Qt::Key_C && !hasSelectedText()) {
        event->ignore();
        return;
    }
    QLineEdit::keyPressEvent(event);
}
