// A foreign program to paste into: one or more windows with a text field.
// Prints "ready <window id>..." once every window is on screen, and
// "text <window index> <text>" whenever a field changes (line breaks as \n).

#include <cstdio>

#include <QApplication>
#include <QCommandLineParser>
#include <QLineEdit>
#include <QList>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <QWindow>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption windowsOption(QStringLiteral("windows"), QStringLiteral("Number of windows."),
                                           QStringLiteral("n"), QStringLiteral("1"));
    parser.addOption(windowsOption);
    parser.process(app);
    const int count = qBound(1, parser.value(windowsOption).toInt(), 4);

    QList<QWidget *> windows;
    for (int i = 0; i < count; ++i) {
        auto *window = new QWidget;
        window->setWindowTitle(QStringLiteral("paste target %1").arg(i));
        auto *field = new QLineEdit(window);
        (new QVBoxLayout(window))->addWidget(field);
        window->setGeometry(100 + 420 * i, 100, 400, 120);
        QObject::connect(field, &QLineEdit::textChanged, [i](const QString &text) {
            QString line = text;
            line.replace(QLatin1Char('\n'), QLatin1String("\\n"));
            std::printf("text %d %s\n", i, line.toUtf8().constData());
            std::fflush(stdout);
        });
        window->show();
        windows.append(window);
    }

    // Ready once the window manager has mapped every window.
    auto *poll = new QTimer(&app);
    QObject::connect(poll, &QTimer::timeout, [poll, windows] {
        QByteArray line("ready");
        for (QWidget *window : windows) {
            if (!window->windowHandle() || !window->windowHandle()->isExposed())
                return;
            line += ' ' + QByteArray::number(window->winId());
        }
        poll->stop();
        std::printf("%s\n", line.constData());
        std::fflush(stdout);
    });
    poll->start(10);
    const int result = app.exec();
    qDeleteAll(windows);
    return result;
}
