#pragma once
// The window's question before a write into the camera ("确认写入相机"), answered in tests: while
// an answerer lives, every such question that comes up is recorded and answered with "写入" or
// "取消" by a click on that button, as the operator would. Other boxes are left alone.

#include "app/writeconfirm.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QStringList>
#include <QTimer>

class WriteQuestion : public QObject {
public:
    explicit WriteQuestion(bool write) : m_write(write)
    {
        m_timer.setInterval(10);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box || box->windowTitle() != kWriteQuestionTitle) return;
            m_texts.append(box->text());
            const QString answer = m_write ? QStringLiteral("写入") : QStringLiteral("取消");
            for (QAbstractButton* b : box->buttons())
                if (b->text() == answer) {
                    b->click();
                    return;
                }
        });
        m_timer.start();
    }
    // The questions seen, in order.
    const QStringList& texts() const { return m_texts; }

private:
    bool m_write;
    QTimer m_timer;
    QStringList m_texts;
};
