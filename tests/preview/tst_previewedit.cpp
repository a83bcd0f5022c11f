#include <QClipboard>
#include <QContextMenuEvent>
#include <QFile>
#include <QMimeData>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTextBlock>

#include "capture/clipboardwriter.h"
#include "common/mime.h"
#include "preview/customedit.h"
#include "preview/filelist.h"
#include "preview/previewfile.h"
#include "preview/previewtext.h"
#include "support/historyfixture.h"
#include "support/tempappfolder.h"

// The editor of text items and the list of file items: what they show, and
// which of their copies are the item itself (marked, so as not to come back).
class TestPreviewEdit : public QObject
{
    Q_OBJECT

    TempAppFolder folder;
    ClipboardWriter writer{folder.filePath("temp")};
    QPointer<PreviewBase> preview;

    CustomEdit *textEdit(const QString &text)
    {
        auto *shown = new PreviewText(nullptr, &writer, nullptr);
        shown->setPlainText(text);
        preview = shown;
        return shown->findChild<CustomEdit *>();
    }

private slots:
    void initTestCase()
    {
        for (const char *name : {"a.txt", "b.txt"})
            QVERIFY(QFile(folder.filePath(name)).open(QIODevice::WriteOnly));
    }

    void init()
    {
        delete preview;
        QGuiApplication::clipboard()->setText(QStringLiteral("before"));
    }

    void textSizing_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QSize>("expected");
        const QString wide(500, QLatin1Char('W')); // far wider than 1380 px in any font
        const QString lines99 = QStringLiteral("short\n").repeated(99);
        QTest::newRow("empty") << QString() << QSize(500, 309);
        QTest::newRow("line 100 is measured") << QString(lines99 + wide) << QSize(1400, 865);
        QTest::newRow("line 101 is not") << QString(lines99 + "short\n" + wide) << QSize(500, 309);
        // A long line whose start has no width: its start alone says nothing.
        QTest::newRow("long line, narrow start") << QString(2000, QChar(0x200B)) + wide << QSize(1400, 865);
    }

    void textSizing()
    {
        QFETCH(QString, text);
        QFETCH(QSize, expected);
        textEdit(text);
        QCOMPARE(preview->size(), expected);
    }

    void searchMarksAndSave_data()
    {
        QTest::addColumn<QString>("search"); // in "Apple apple APPLE pie"
        QTest::addColumn<QString>("marked");
        QTest::newRow("every case") << QStringLiteral("aPPle") << QStringLiteral("AppleappleAPPLE");
        QTest::newRow("empty search") << QString() << QString();
    }

    void searchMarksAndSave()
    {
        QFETCH(QString, search);
        QFETCH(QString, marked);
        CustomEdit *edit = textEdit(QStringLiteral("Apple apple APPLE pie"));
        auto *save = preview->findChild<QPushButton *>(QStringLiteral("iconButton"));
        preview->setFilterText(search);
        QString shown;
        for (QTextBlock block = edit->document()->begin(); block.isValid(); block = block.next())
            for (auto it = block.begin(); !it.atEnd(); ++it)
                if (it.fragment().charFormat().background().color() == QColor(Qt::yellow))
                    shown += it.fragment().text();
        QCOMPARE(shown, marked);
        // The marks are no edit: nothing to save, nothing to undo.
        QVERIFY(!save->isEnabled());
        QVERIFY(!edit->document()->isUndoAvailable());
        QTest::keyClick(edit, Qt::Key_X);
        QVERIFY(save->isEnabled());
        QTest::keyClick(edit, Qt::Key_Z, Qt::ControlModifier);
        QVERIFY(!save->isEnabled());
    }

    void copyOfText_data()
    {
        QTest::addColumn<QString>("copied"); // selected from the start of "one line"
        QTest::addColumn<bool>("marker");
        QTest::newRow("whole text: the item itself") << "one line" << true;
        QTest::newRow("part: a new item") << "one" << false;
    }

    void copyOfText()
    {
        QFETCH(QString, copied);
        QFETCH(bool, marker);
        CustomEdit *edit = textEdit(QStringLiteral("one line"));
        QTextCursor cursor(edit->document());
        cursor.setPosition(copied.size(), QTextCursor::KeepAnchor);
        edit->setTextCursor(cursor);
        QTest::keyClick(edit, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->mimeData()->text(), copied);
        QCOMPARE(QGuiApplication::clipboard()->mimeData()->hasFormat(MIME_IGNORE), marker);
    }

    void fileList_data()
    {
        QTest::addColumn<QStringList>("files"); // all selected; those named "gone" do not exist
        QTest::addColumn<int>("copied");        // the first ones
        QTest::addColumn<bool>("marker");
        QTest::addColumn<QStringList>("menu");
        const QStringList copyOnly = {QStringLiteral("复制")};
        QTest::newRow("all: the item itself") << QStringList{"a.txt", "b.txt"} << 2 << true << copyOnly;
        QTest::newRow("one of two copied") << QStringList{"a.txt", "gone.txt"} << 1 << false << copyOnly;
        QTest::newRow("deleted, folder gone")
            << QStringList{"gone/gone.txt"} << 0 << false << QStringList{"no menu"};
    }

    void fileList()
    {
        QFETCH(QStringList, files);
        QFETCH(int, copied);
        QFETCH(bool, marker);
        QFETCH(QStringList, menu);
        auto *shown = new PreviewFile(nullptr, &writer, nullptr);
        preview = shown;
        QList<QUrl> urls;
        for (const QString &name : files)
            urls << QUrl::fromLocalFile(folder.filePath(name));
        shown->setUrls(urls);
        shown->show();
        FileList *list = shown->findChild<FileList *>();
        for (int row = 0; row < list->count(); ++row) {
            const bool gone = files[row].contains("gone");
            QCOMPARE(list->item(row)->text(), QFileInfo(files[row]).fileName() + (gone ? " (已删除)" : ""));
            QCOMPARE(list->item(row)->foreground().color(), gone ? QColor(Qt::gray) : QColor(Qt::black));
            list->item(row)->setSelected(true);
        }

        QTest::keyClick(list, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->mimeData()->urls(), urls.mid(0, copied));
        QCOMPARE(QGuiApplication::clipboard()->mimeData()->hasFormat(MIME_IGNORE), marker);

        QStringList entries{"no menu"}; // an empty menu is still a menu
        const QPointer<QTimer> watcher = HistoryFixture::onNextPopup([&](QMenu *popup) {
            entries.clear();
            for (const QAction *action : popup->actions())
                entries << action->text();
            popup->close();
        });
        const QPoint pos = list->visualItemRect(list->item(0)).center();
        QContextMenuEvent event(QContextMenuEvent::Mouse, pos, list->viewport()->mapToGlobal(pos));
        QCoreApplication::sendEvent(list->viewport(), &event);
        delete watcher; // still there if no menu showed
        QCOMPARE(entries, menu);
    }
};

QTEST_MAIN(TestPreviewEdit)
#include "tst_previewedit.moc"
