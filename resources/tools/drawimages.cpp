// Draws the small images of the dark theme and the window icon.
//
//   drawimages <resources folder>
//
// writes qss/psblack/*.png, base/icon.png and base/icon.ico below the given folder. The
// images are drawn from code so that they can be re-made after a change of colour; the output
// is committed, and the program is not part of the normal build (target "drawimages").
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <QTextStream>

#include <functional>

namespace {

// The colours of psblack.css.
const QColor text(0xDC, 0xDC, 0xDC);
const QColor border(0x24, 0x24, 0x24);
const QColor field(0x38, 0x38, 0x38);
const QColor accent(0x00, 0xBB, 0x9E);
const QColor dimText(0x8A, 0x8A, 0x8A);
const QColor dimField(0x4E, 0x4E, 0x4E);
const QColor dimAccent(0x3E, 0x6E, 0x66);

QString g_root;
int g_failures = 0;

void save(const QString& name, const QSize& size, const std::function<void(QPainter&)>& draw)
{
    QImage image(size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    {
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        draw(p);
    }
    const QString path = g_root + QLatin1Char('/') + name;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QImageWriter writer(path);
    if (!writer.write(image)) {
        QTextStream(stderr) << "cannot write " << path << ": " << writer.errorString() << "\n";
        ++g_failures;
    }
}

enum class Tick { None, Check, Part };

// A 15 x 15 check box: a framed square, filled with the accent colour when checked.
void checkBox(const QString& name, Tick tick, bool enabled)
{
    save(name, QSize(15, 15), [&](QPainter& p) {
        const QRectF box(1.5, 1.5, 12, 12);
        const bool on = tick != Tick::None;
        p.setPen(QPen(enabled ? (on ? accent : text) : dimText, 1));
        p.setBrush(on ? (enabled ? accent : dimAccent) : (enabled ? field : dimField));
        p.drawRoundedRect(box, 2, 2);
        QPen mark(enabled ? Qt::white : QColor(dimText), 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
        p.setPen(mark);
        p.setBrush(Qt::NoBrush);
        if (tick == Tick::Check)
            p.drawPolyline(QPolygonF({QPointF(4.2, 7.6), QPointF(6.6, 10.0), QPointF(10.8, 4.8)}));
        else if (tick == Tick::Part)
            p.drawLine(QPointF(4.5, 7.5), QPointF(10.5, 7.5));
    });
}

// A 15 x 15 radio button: a ring, with a dot of the accent colour when checked.
void radioButton(const QString& name, bool checked, bool enabled)
{
    save(name, QSize(15, 15), [&](QPainter& p) {
        p.setPen(QPen(enabled ? (checked ? accent : text) : dimText, 1));
        p.setBrush(enabled ? field : dimField);
        p.drawEllipse(QPointF(7.5, 7.5), 6, 6);
        if (checked) {
            p.setPen(Qt::NoPen);
            p.setBrush(enabled ? accent : dimAccent);
            p.drawEllipse(QPointF(7.5, 7.5), 3.2, 3.2);
        }
    });
}

// A filled triangle pointing in the direction given by its tip, inside a square image.
void arrow(const QString& name, int side, const QPolygonF& triangle, const QColor& colour)
{
    save(name, QSize(side, side), [&](QPainter& p) {
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawPolygon(triangle);
    });
}

// The window icon: a line-scan camera seen from the front, its single sensor line lit in the
// accent colour across the lens.
void drawIcon(QPainter& p, int side)
{
    const qreal s = side / 64.0;
    p.scale(s, s);
    // Body with a cooling fin on top.
    QLinearGradient body(0, 10, 0, 56);
    body.setColorAt(0, QColor(0x5A, 0x5A, 0x5A));
    body.setColorAt(1, QColor(0x30, 0x30, 0x30));
    p.setPen(QPen(border, 1.5));
    p.setBrush(body);
    p.drawRoundedRect(QRectF(4, 12, 56, 40), 6, 6);
    p.setBrush(QColor(0x48, 0x48, 0x48));
    p.drawRoundedRect(QRectF(14, 6, 36, 8), 2, 2);
    // Lens.
    QRadialGradient glass(QPointF(30, 30), 16);
    glass.setColorAt(0, QColor(0x2A, 0x3A, 0x40));
    glass.setColorAt(1, QColor(0x10, 0x14, 0x16));
    p.setPen(QPen(text, 2.5));
    p.setBrush(glass);
    p.drawEllipse(QPointF(32, 32), 14, 14);
    p.setPen(QPen(QColor(0x80, 0x80, 0x80), 1.2));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QPointF(32, 32), 9, 9);
    // The sensor line and its scan fan below the camera.
    p.setPen(QPen(accent, 3, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(8, 32), QPointF(56, 32));
    p.setPen(Qt::NoPen);
    QColor fan = accent;
    fan.setAlpha(110);
    p.setBrush(fan);
    p.drawPolygon(QPolygonF({QPointF(26, 52), QPointF(38, 52), QPointF(62, 62), QPointF(2, 62)}));
    // Status lamp.
    p.setBrush(accent);
    p.drawEllipse(QPointF(52, 19), 2.2, 2.2);
}

}  // namespace

int main(int argc, char* argv[])
{
    // No display is needed: everything is painted into images.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc < 2) {
        QTextStream(stderr) << "usage: drawimages <resources folder>\n";
        return 2;
    }
    g_root = QString::fromLocal8Bit(argv[1]);
    const QString theme = QStringLiteral("qss/psblack/");

    checkBox(theme + "checkbox_unchecked.png", Tick::None, true);
    checkBox(theme + "checkbox_unchecked_disable.png", Tick::None, false);
    checkBox(theme + "checkbox_checked.png", Tick::Check, true);
    checkBox(theme + "checkbox_checked_disable.png", Tick::Check, false);
    checkBox(theme + "checkbox_parcial.png", Tick::Part, true);
    checkBox(theme + "checkbox_parcial_disable.png", Tick::Part, false);

    radioButton(theme + "radiobutton_unchecked.png", false, true);
    radioButton(theme + "radiobutton_unchecked_disable.png", false, false);
    radioButton(theme + "radiobutton_checked.png", true, true);
    radioButton(theme + "radiobutton_checked_disable.png", true, false);

    // Tree branches, 10 x 10: closed points right, open points down.
    arrow(theme + "branch_close.png", 10, QPolygonF({QPointF(3, 1.5), QPointF(8, 5), QPointF(3, 8.5)}), text);
    arrow(theme + "branch_open.png", 10, QPolygonF({QPointF(1.5, 3), QPointF(8.5, 3), QPointF(5, 8)}), text);

    // Spin box and scroll bar arrows, 10 x 10.
    arrow(theme + "add_top.png", 10, QPolygonF({QPointF(1.5, 7), QPointF(8.5, 7), QPointF(5, 2.5)}), text);
    arrow(theme + "add_bottom.png", 10, QPolygonF({QPointF(1.5, 3), QPointF(8.5, 3), QPointF(5, 7.5)}), text);
    arrow(theme + "add_left.png", 10, QPolygonF({QPointF(7, 1.5), QPointF(7, 8.5), QPointF(2.5, 5)}), text);
    arrow(theme + "add_right.png", 10, QPolygonF({QPointF(3, 1.5), QPointF(3, 8.5), QPointF(7.5, 5)}), text);

    // Month buttons of the calendar, 16 x 16.
    arrow(theme + "calendar_prevmonth.png", 16, QPolygonF({QPointF(11, 3), QPointF(11, 13), QPointF(4, 8)}), text);
    arrow(theme + "calendar_nextmonth.png", 16, QPolygonF({QPointF(5, 3), QPointF(5, 13), QPointF(12, 8)}), text);

    save(QStringLiteral("base/icon.png"), QSize(64, 64), [](QPainter& p) { drawIcon(p, 64); });
    save(QStringLiteral("base/icon.ico"), QSize(48, 48), [](QPainter& p) { drawIcon(p, 48); });

    return g_failures == 0 ? 0 : 1;
}
