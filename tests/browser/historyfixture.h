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

// Runs `action` on the next modal dialog once it is up. The dialogs are run
// with exec(), so the test can only reach them from inside that loop.
// Returns the watcher, which the caller deletes if no dialog is expected.
inline QTimer *onNextModal(std::function<void(QWidget *)> action)
{
    auto *timer = new QTimer();
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, action] {
        QWidget *modal = QApplication::activeModalWidget();
        if (!modal)
            return;
        timer->stop();
        timer->deleteLater();
        action(modal);
    });
    timer->start();
    return timer;
}

// Same for the next popup menu.
inline void onNextPopup(std::function<void(QMenu *)> action)
{
    auto *timer = new QTimer();
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout, [timer, action] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        timer->stop();
        timer->deleteLater();
        action(menu);
    });
    timer->start();
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
