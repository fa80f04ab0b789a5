#pragma once
// A question a procedure on the worker puts to the operator, and the wait for the answer.
//
// The worker arms the prompt with the question's number, sends the question out (a signal: the
// window shows it in the progress panel, a command-line runner prints it, a test answers at
// once) and waits. The answer comes from any thread through answer(step, proceed). An answer
// given before the wait begins (a test answering inside the signal) is kept; an answer naming
// another step, or coming when nothing is asked, is dropped, so a late or doubled click cannot
// answer the next question. The wait checks the caller's stop condition (the cancel flag)
// every few milliseconds, so a cancel ends it at once even though the operator never answers.
#include <QMutex>
#include <QMutexLocker>
#include <QWaitCondition>

class OperatorPrompt {
public:
    enum class Outcome { Proceed, Stop };

    // A new question `step` is open; any answer before it is forgotten.
    void arm(int step)
    {
        QMutexLocker lock(&m_mutex);
        m_step = step;
        m_answered = false;
        m_proceed = false;
    }

    // The answer to question `step`, from any thread. Ignored when `step` is not open.
    void answer(int step, bool proceed)
    {
        QMutexLocker lock(&m_mutex);
        if (step != m_step || m_answered) return;
        m_answered = true;
        m_proceed = proceed;
        m_changed.wakeAll();
    }

    // Waits for the answer to the open question, asking `stop()` between slices of `sliceMs`.
    // Stop for an answer of false or when `stop()` says so; the question is closed either way.
    template <typename StopFn>
    Outcome wait(StopFn stop, unsigned long sliceMs = 20)
    {
        QMutexLocker lock(&m_mutex);
        for (;;) {
            if (m_answered) {
                const bool proceed = m_proceed;
                m_step = kNone;
                return proceed ? Outcome::Proceed : Outcome::Stop;
            }
            lock.unlock();
            const bool stopNow = stop();
            lock.relock();
            if (stopNow) {
                m_step = kNone;
                return Outcome::Stop;
            }
            if (!m_answered) m_changed.wait(&m_mutex, sliceMs);
        }
    }

    // The question now open; -1 for none.
    int openStep() const
    {
        QMutexLocker lock(&m_mutex);
        return m_step;
    }

private:
    static constexpr int kNone = -1;
    mutable QMutex m_mutex;
    QWaitCondition m_changed;
    int m_step = kNone;
    bool m_answered = false;
    bool m_proceed = false;
};
