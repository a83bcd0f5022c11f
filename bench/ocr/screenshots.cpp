#include "screenshots.h"

#include <QBuffer>
#include <QFont>
#include <QPainter>

namespace {
const QStringList englishLines = {
    QStringLiteral("The quarterly report was sent to the harbour office on Monday."),
    QStringLiteral("Please review the attached figures before the meeting at 10:30."),
    QStringLiteral("Revenue grew by 12.5% while shipping costs fell for the third month."),
    QStringLiteral("Open the settings page and choose a shorter retention period."),
    QStringLiteral("Build 4711 fixes the crash when a window is closed during a drag."),
    QStringLiteral("Our new office is at 221 Baker Street, second floor, room 14."),
    QStringLiteral("Copy the command below and run it in a terminal as root:"),
    QStringLiteral("sudo apt-get install --no-install-recommends build-essential"),
    QStringLiteral("The password must contain at least twelve characters."),
    QStringLiteral("Thanks for the quick reply, I will send the invoice tomorrow."),
    QStringLiteral("Error 0x80070005: access is denied for the selected folder."),
    QStringLiteral("Fresh bread, two litres of milk, apples and a jar of honey."),
    QStringLiteral("The train to Edinburgh leaves from platform 9 at 17:45."),
    QStringLiteral("Meeting notes: budget approved, hiring starts in January."),
    QStringLiteral("Click Save to keep your changes or Cancel to discard them."),
    QStringLiteral("Version 2.3.1 was released with support for dark themes."),
    QStringLiteral("Temperatures will reach 28 degrees in the afternoon."),
    QStringLiteral("Send the signed contract to legal@example.com by Friday."),
    QStringLiteral("Every item in the history can be searched by its words."),
    QStringLiteral("The library closes early on public holidays and Sundays."),
};

const QStringList chineseLines = {
    QStringLiteral("季度报告已于星期一发送到港口办公室。"),
    QStringLiteral("请在十点半开会之前查看附件中的数据。"),
    QStringLiteral("收入增长了百分之十二，运输成本连续三个月下降。"),
    QStringLiteral("打开设置页面，选择更短的保留时间。"),
    QStringLiteral("新版本修复了拖动时关闭窗口导致的崩溃问题。"),
    QStringLiteral("我们的新办公室在人民路二百二十一号二楼。"),
    QStringLiteral("复制下面的命令，然后在终端中运行。"),
    QStringLiteral("密码必须包含至少十二个字符。"),
    QStringLiteral("谢谢你的快速回复，我明天会把发票寄给你。"),
    QStringLiteral("系统提示：您没有访问所选文件夹的权限。"),
    QStringLiteral("新鲜面包、两升牛奶、苹果和一罐蜂蜜。"),
    QStringLiteral("开往上海的列车将于下午五点四十五分出发。"),
    QStringLiteral("会议纪要：预算已批准，一月份开始招聘。"),
    QStringLiteral("点击保存以保留更改，或点击取消放弃更改。"),
    QStringLiteral("剪贴板历史中的每一项都可以按文字搜索。"),
    QStringLiteral("下午的气温将达到二十八度，请注意防晒。"),
    QStringLiteral("请在星期五之前把签好的合同交给法务部。"),
    QStringLiteral("图书馆在公共假日和星期天提前关门。"),
    QStringLiteral("这个窗口显示最近复制的文字、图片和文件。"),
    QStringLiteral("按下快捷键即可在光标位置打开主窗口。"),
};

const QStringList mixedLines = {
    QStringLiteral("版本 2.3.1 已发布，支持 dark theme 和 Wayland。"),
    QStringLiteral("请运行 make test 检查所有测试是否通过。"),
    QStringLiteral("错误代码 0x80070005：拒绝访问 C:\\Users 文件夹。"),
    QStringLiteral("会议时间改为 10:30，地点在 Room 14。"),
    QStringLiteral("下载地址 https://example.com/download 已更新。"),
    QStringLiteral("收入增长 12.5%，成本下降 3.2%。"),
    QStringLiteral("我们使用 SQLite 数据库保存剪贴板历史。"),
    QStringLiteral("按 Ctrl+C 复制选中的文字，按 Esc 关闭。"),
    QStringLiteral("Build 4711 修复了 drag and drop 的问题。"),
    QStringLiteral("请把 invoice 发送到 legal@example.com。"),
    QStringLiteral("新的 API 支持 JSON 和 XML 两种格式。"),
    QStringLiteral("屏幕分辨率为 1920x1080，缩放比例 100%。"),
    QStringLiteral("在 Settings 页面可以修改 hotkey 设置。"),
    QStringLiteral("这个 bug 只在 Linux 和 macOS 上出现。"),
    QStringLiteral("明天下午 3 点和 Alice 讨论 roadmap。"),
    QStringLiteral("内存占用从 212 MB 降到了 75 MB。"),
    QStringLiteral("使用 git commit -m 提交你的修改。"),
    QStringLiteral("第 9 站台的列车将于 17:45 开往 Beijing。"),
    QStringLiteral("OCR 识别结果可以在预览窗口中选择和复制。"),
    QStringLiteral("下载 Qt 6.4.2 并安装 CMake 3.25 以上版本。"),
};
} // namespace

Screenshot renderScreenshot(const ScreenshotStyle &style)
{
    const QColor ground = style.damaged ? QColor(150, 150, 150) : style.dark ? QColor(30, 30, 30) : QColor(255, 255, 255);
    const QColor ink = style.damaged ? QColor(90, 90, 90) : style.dark ? QColor(220, 220, 220) : QColor(20, 20, 20);
    const QColor chrome = style.dark ? QColor(50, 50, 55) : QColor(235, 235, 238);

    Screenshot shot;
    shot.lines = style.script == Script::Chinese ? chineseLines
                 : style.script == Script::English ? englishLines
                                                   : mixedLines;
    shot.name = QStringLiteral("%1 %2px %3%4")
                    .arg(style.script == Script::Chinese ? "zh" : style.script == Script::English ? "en" : "mixed")
                    .arg(style.pixelSize)
                    .arg(style.dark ? "dark" : "light")
                    .arg(style.damaged ? " damaged" : "");

    shot.image = QImage(1920, 1080, QImage::Format_RGB32);
    shot.image.fill(chrome);
    QPainter painter(&shot.image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    // A window with a title bar, a side bar and the document.
    QFont ui(QStringLiteral("Noto Sans CJK SC"));
    ui.setPixelSize(13);
    painter.setFont(ui);
    painter.setPen(ink);
    painter.fillRect(QRect(0, 0, 1920, 34), chrome.darker(110));
    painter.drawText(QRect(12, 0, 600, 34), Qt::AlignVCenter, QStringLiteral("notes.txt"));
    painter.fillRect(QRect(0, 34, 220, 1046), chrome);
    painter.fillRect(QRect(220, 34, 1700, 1046), ground);

    QFont font(QStringLiteral("Noto Sans CJK SC"));
    font.setPixelSize(style.pixelSize);
    painter.setFont(font);
    const int step = style.pixelSize * 2 + 8;
    for (int i = 0; i < shot.lines.size(); ++i)
        painter.drawText(QPoint(260, 80 + i * step + style.pixelSize), shot.lines.at(i));
    painter.end();

    if (style.damaged) {
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        buffer.open(QIODevice::WriteOnly);
        shot.image.save(&buffer, "JPEG", 35);
        shot.image = QImage::fromData(jpeg, "JPEG").convertToFormat(QImage::Format_RGB32);
    }
    return shot;
}
