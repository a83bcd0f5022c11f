// A foreign program to paste into: one or more windows with a text field.
// Prints "ready <window id>..." once every window is on screen, and
// "text <window index> <text>" whenever a field changes (line breaks as \n).

#include <cstdio>

#include <QApplication>
#include <QCommandLineParser>
#include <QLineEdit>
#include <QList>
#include <QVBoxLayout>
#include <QWidget>
#include <QWindow>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOption({"windows", "Number of windows.", "n", "1"});
    parser.process(app);
    const int count = qBound(1, parser.value("windows").toInt(), 4);

    QList<QWidget *> windows;
    for (int i = 0; i < count; ++i) {
        auto *window = new QWidget;
        window->setWindowTitle(QStringLiteral("paste target %1").arg(i));
        auto *field = new QLineEdit(window);
        (new QVBoxLayout(window))->addWidget(field);
        window->setGeometry(100 + 420 * i, 100, 400, 120);
        QObject::connect(field, &QLineEdit::textChanged, [i](QString text) {
            std::printf("text %d %s\n", i, text.replace('\n', QLatin1String("\\n")).toUtf8().constData());
            std::fflush(stdout);
        });
        window->show();
        windows.append(window);
    }

    // Ready once the window manager has mapped every window.
    QByteArray line("ready");
    for (QWidget *window : std::as_const(windows)) {
        while (!window->windowHandle()->isExposed())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        line += ' ' + QByteArray::number(window->winId());
    }
    std::printf("%s\n", line.constData());
    std::fflush(stdout);
    const int result = app.exec();
    qDeleteAll(windows);
    return result;
}
