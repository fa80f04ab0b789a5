#pragma once
// Calls back when a widget is shown or hidden, for code that follows a widget it does not own.

#include <QEvent>
#include <QObject>
#include <QWidget>

#include <functional>

class ShowHideHook : public QObject {
public:
    // Lives as long as `watched`.
    ShowHideHook(QWidget* watched, std::function<void()> shown, std::function<void()> hidden)
        : QObject(watched), m_shown(std::move(shown)), m_hidden(std::move(hidden))
    {
        watched->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && m_shown) m_shown();
        if (event->type() == QEvent::Hide && m_hidden) m_hidden();
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> m_shown, m_hidden;
};
