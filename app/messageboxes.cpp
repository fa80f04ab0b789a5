#include "messageboxes.h"

#include <QApplication>
#include <QEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QScreen>
#include <QTextDocument>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace {

// The widest line of a label's text in its own font, plain or rich.
int idealWidth(const QLabel* label)
{
    const QString text = label->text();
    if (Qt::mightBeRichText(text) && label->textFormat() != Qt::PlainText) {
        QTextDocument doc;
        doc.setDefaultFont(label->font());
        doc.setHtml(text);
        return int(std::ceil(doc.idealWidth()));
    }
    int widest = 0;
    for (const QString& line : text.split(QLatin1Char('\n')))
        widest = std::max(widest, label->fontMetrics().horizontalAdvance(line));
    return widest;
}

}  // namespace

MessageBoxWatcher::MessageBoxWatcher(QObject* parent) : QObject(parent)
{
    qApp->installEventFilter(this);
}

MessageBoxWatcher::~MessageBoxWatcher()
{
    qApp->removeEventFilter(this);
}

bool MessageBoxWatcher::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Show) {
        if (auto* box = qobject_cast<QMessageBox*>(watched)) {
            emit boxShown(box->windowTitle(), box->text());
            // After the box has sized itself on this show.
            QPointer<QMessageBox> later(box);
            QTimer::singleShot(0, box, [later] {
                if (later) widen(later);
            });
        }
    }
    return QObject::eventFilter(watched, event);
}

void MessageBoxWatcher::widen(QMessageBox* box)
{
    auto* label = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    if (!label) return;
    label->setTextInteractionFlags(label->textInteractionFlags() | Qt::TextSelectableByMouse);
    const QScreen* screen = box->screen();
    const int screenWidth = screen ? screen->availableGeometry().width() : 1024;
    // Room on the screen for the text beside the icon and the box's margins.
    const int room = screenWidth * 85 / 100 - box->iconPixmap().width() - 60;
    const int wanted = std::min(idealWidth(label) + 4, room);
    const bool fits = label->width() >= wanted && label->height() >= label->heightForWidth(label->width());
    if (fits) return;
    label->setWordWrap(true);
    label->setMinimumWidth(wanted);
    box->setMinimumSize(0, 0);
    box->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    box->setFixedSize(box->sizeHint());
}
