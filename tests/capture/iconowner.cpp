// Owns the clipboard from a program with a visible window that announces an
// icon in 16, 32 and 48 px (red, green, blue). Takes the clipboard with the
// text of its command line once the window is on screen, prints "ready", and
// quits when another program takes the clipboard.

#include <cstdio>

#include <QClipboard>
#include <QGuiApplication>
#include <QIcon>
#include <QMimeData>
#include <QPixmap>
#include <QRasterWindow>
#include <QTimer>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const QString text = arguments.value(1, QStringLiteral("icon owner text"));

    QIcon icon;
    const QList<QPair<int, QColor>> sizes = {{16, Qt::red}, {32, Qt::green}, {48, Qt::blue}};
    for (const auto &size : sizes) {
        QPixmap pixmap(size.first, size.first);
        pixmap.fill(size.second);
        icon.addPixmap(pixmap);
    }
    QRasterWindow window;
    window.setTitle(QStringLiteral("icon owner"));
    window.setIcon(icon);
    window.resize(200, 100);
    window.show();

    QClipboard *clipboard = QGuiApplication::clipboard();
    auto *poll = new QTimer(&app);
    QObject::connect(poll, &QTimer::timeout, [&] {
        if (!window.isExposed())
            return;
        poll->stop();
        auto *data = new QMimeData;
        data->setText(text);
        clipboard->setMimeData(data, QClipboard::Clipboard);
        std::printf("ready\n");
        std::fflush(stdout);
        QObject::connect(clipboard, &QClipboard::dataChanged, &app, [clipboard] {
            if (!clipboard->ownsClipboard())
                QCoreApplication::quit();
        });
    });
    poll->start(10);
    return app.exec();
}
