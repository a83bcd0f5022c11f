#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QBuffer>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QTimer>
#include <QWidget>

#include <functional>

#include "common/mime.h"
#include "item/itemcodec.h"
#include "item/itemdata.h"

// Items and modal-dialog handling shared by the list and tab tests.
namespace HistoryFixture {

inline ItemData makeItem(uint hash, uint type, const QString &text, qulonglong time)
{
    ItemData item;
    item.hashValue = hash;
    item.itemType = type;
    item.createTime = time;
    item.lastActiveTime = time;
    switch (type) {
    case ItemTypeFile:
        item.dataMap[MIME_URI_LIST] = serializeUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/") + text)});
        break;
    case ItemTypeRichText:
        item.dataMap[MIME_HTML] = QStringLiteral("<b>%1</b>").arg(text);
        break;
    case ItemTypeImage: {
        QImage image(8, 8, QImage::Format_RGB32);
        image.fill(Qt::red);
        QByteArray png;
        QBuffer buffer(&png);
        image.save(&buffer, "PNG");
        item.dataMap[MIME_IMAGE_PNG] = png;
        break;
    }
    default:
        item.dataMap[MIME_TEXT] = text;
    }
    return item;
}

// Runs `action` on the widget that `find` returns, once there is one. The
// dialogs and menus run their own loops, so a test can only reach them from
// inside. Returns the watcher, which the caller deletes if none is expected.
template<typename Widget>
QTimer *whenShown(std::function<Widget *()> find, std::function<void(Widget *)> action)
{
    auto *timer = new QTimer();
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, find, action] {
        Widget *widget = find();
        if (!widget)
            return;
        timer->stop();
        timer->deleteLater();
        action(widget);
    });
    timer->start();
    return timer;
}

inline QTimer *onNextModal(std::function<void(QWidget *)> action)
{
    return whenShown<QWidget>([] { return QApplication::activeModalWidget(); }, action);
}

inline QTimer *onNextPopup(std::function<void(QMenu *)> action)
{
    return whenShown<QMenu>([] { return qobject_cast<QMenu *>(QApplication::activePopupWidget()); }, action);
}

inline QStringList labelTexts(QWidget *widget)
{
    QStringList texts;
    const QList<QLabel *> labels = widget->findChildren<QLabel *>();
    for (QLabel *label : labels)
        if (!label->text().isEmpty())
            texts.append(label->text());
    return texts;
}

inline void clickButton(QWidget *dialog, const QString &text)
{
    const QList<QAbstractButton *> buttons = dialog->findChildren<QAbstractButton *>();
    for (QAbstractButton *button : buttons)
        if (button->text() == text) {
            button->click();
            return;
        }
}

inline QAction *actionNamed(QMenu *menu, const QString &text)
{
    const QList<QAction *> actions = menu->actions();
    for (QAction *action : actions)
        if (action->text() == text)
            return action;
    return nullptr;
}

} // namespace HistoryFixture
