#pragma once
// A signal spy for signals emitted on another thread, such as the camera server's worker.
//
// QSignalSpy records through a direct connection, so it appends to its list on the emitting
// thread while the test thread reads that list, with no lock between them: a live capture then
// crashes the test now and then. This spy records through a queued connection instead, on the
// thread it lives on (the test's), so its list is only ever touched there. An emission is seen
// once the test thread processes events (QTRY_*, wait()).
#include <QDeadlineTimer>
#include <QList>
#include <QObject>
#include <QVariant>
#include <QtTest>

#include <type_traits>

class ThreadSpy : public QObject, public QList<QList<QVariant>> {
public:
    template <typename Sender, typename... Args>
    ThreadSpy(const Sender* sender, void (Sender::*signal)(Args...))
    {
        QObject::connect(
            sender, signal, this,
            [this](std::decay_t<Args>... args) { append(QList<QVariant>{QVariant::fromValue(args)...}); },
            Qt::QueuedConnection);
    }

    // Waits until one more emission has been recorded, or the time is up.
    bool wait(int timeoutMs = 5000)
    {
        const qsizetype before = size();
        const QDeadlineTimer deadline(timeoutMs);
        while (size() == before && !deadline.hasExpired()) QTest::qWait(5);
        return size() > before;
    }
};
