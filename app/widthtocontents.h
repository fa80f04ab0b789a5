#pragma once
// Keeps a scroll area that scrolls up and down as wide as its contents need, so that nothing in it
// is cut off at its right edge or needs a sideways scroll: its minimum width follows the
// contents' minimum width (their longest row of texts, in the interface's language, with the
// panels the camera shows), the frame and the vertical scroll bar, each time their layout
// changes.

#include <QEvent>
#include <QObject>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
#include <QWidget>

class WidthToContents : public QObject {
public:
    // Lives as long as `area`; `area` must hold its contents already.
    explicit WidthToContents(QScrollArea* area) : QObject(area), m_area(area)
    {
        area->widget()->installEventFilter(this);
        fit();
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Show) fit();
        return QObject::eventFilter(watched, event);
    }

private:
    void fit()
    {
        const QWidget* contents = m_area->widget();
        if (!contents) return;
        const int bar = m_area->verticalScrollBar()->sizeHint().width();
        m_area->setMinimumWidth(contents->minimumSizeHint().width() + 2 * m_area->frameWidth() + bar);
    }

    QScrollArea* m_area;
};
