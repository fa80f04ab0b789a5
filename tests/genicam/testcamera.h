#pragma once
// The test camera (lsxgvcamera) run by a test: started on the loopback, spoken to through its
// commands, and stopped at the end, whatever happened in between.
//
// GigE Vision devices answer on the one control port 3956; on the loopback only one of them can
// listen at a time. The genicam tests share a ctest resource lock for that, and a test camera is
// started only while its test holds the loopback's file lock, so that test runs of other build
// trees on the same machine take their turn instead of failing.

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace gvtest {

struct Options {
    QString serial;            // unique per test run
    bool builtinTree = false;  // Aravis' own area-camera feature tree instead of ours
    QString simCamera = QStringLiteral("SIM-LS4096-M");
    QString simConfig;  // JSON for the simulated camera (LSX_SIM_CONFIG), or empty
};

class TestCamera {
public:
    TestCamera() = default;
    TestCamera(const TestCamera&) = delete;
    TestCamera& operator=(const TestCamera&) = delete;
    ~TestCamera() { stop(); }

    // Starts the camera and waits for it to answer; empty on success, else the reason.
    QString start(const Options& options, int lockWaitMs = 240000)
    {
        const QString program = QString::fromLocal8Bit(qgetenv("LSX_GVCAMERA"));
        const QString xml = QString::fromLocal8Bit(qgetenv("LSX_GVCAMERA_XML"));
        if (program.isEmpty() || xml.isEmpty()) return QStringLiteral("LSX_GVCAMERA and LSX_GVCAMERA_XML must be set");
        if (!takeLoopback(lockWaitMs)) return QStringLiteral("the loopback's GigE Vision port stayed taken");

        m_serial = options.serial;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        if (!options.simConfig.isEmpty()) {
            m_configPath = QDir::temp().filePath(QStringLiteral("lsxgvcamera-%1.json").arg(options.serial));
            QFile f(m_configPath);
            if (!f.open(QIODevice::WriteOnly)) return QStringLiteral("cannot write ") + m_configPath;
            f.write(options.simConfig.toUtf8());
            f.close();
            env.insert(QStringLiteral("LSX_SIM_CONFIG"), m_configPath);
        }
        m_process.setProcessEnvironment(env);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QStringList args{QStringLiteral("--serial"), options.serial, QStringLiteral("--camera"), options.simCamera};
        if (options.builtinTree)
            args << QStringLiteral("--builtin");
        else
            args << QStringLiteral("--xml") << xml;
        // A GigE Vision device started by hand holds the port without the lock: wait for it too.
        const QDeadlineTimer deadline(lockWaitMs);
        for (;;) {
            m_process.start(program, args);
            if (!m_process.waitForStarted(10000))
                return QStringLiteral("the test camera did not start: ") + m_process.errorString();
            const QString first = readLine(30000);
            if (first == QStringLiteral("ready ") + options.serial) return QString();
            m_process.waitForFinished(10000);
            if (first != QStringLiteral("busy") || deadline.hasExpired()) {
                stop();
                return QStringLiteral("the test camera said: ") + first;
            }
            QThread::msleep(200);
        }
    }

    // One command and its answer line.
    QString command(const QString& line, int timeoutMs = 10000)
    {
        if (m_process.state() != QProcess::Running) return QStringLiteral("error not running");
        m_process.write((line + QLatin1Char('\n')).toUtf8());
        m_process.waitForBytesWritten(timeoutMs);
        return readLine(timeoutMs);
    }

    // The numbers of an "ok <count> v0 v1 ..." answer.
    QList<double> numbers(const QString& line, int timeoutMs = 10000)
    {
        const QStringList parts = command(line, timeoutMs).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        QList<double> out;
        if (parts.size() < 2 || parts[0] != QStringLiteral("ok")) return out;
        for (int i = 2; i < parts.size(); ++i) out.append(parts[i].toDouble());
        return out;
    }

    // The camera's friendly name in the camera library: vendor, model and serial.
    QString friendlyName(int sensorWidth = 4096) const
    {
        return QStringLiteral("LSXTest LS%1-GV %2").arg(sensorWidth).arg(m_serial);
    }

    // The process ends at once, sockets and all, as a camera whose cable is pulled.
    void kill()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(10000);
        }
    }

    void stop()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.write("quit\n");
            m_process.closeWriteChannel();
            if (!m_process.waitForFinished(10000)) kill();
        }
        if (!m_configPath.isEmpty()) QFile::remove(m_configPath);
        m_configPath.clear();
        releaseLoopback();
    }

    bool running() const { return m_process.state() == QProcess::Running; }

private:
    QString readLine(int timeoutMs)
    {
        const QDeadlineTimer deadline(timeoutMs);
        while (!m_process.canReadLine() && !deadline.hasExpired() && m_process.state() == QProcess::Running)
            m_process.waitForReadyRead(int(std::max<qint64>(1, std::min<qint64>(100, deadline.remainingTime()))));
        if (!m_process.canReadLine()) return QStringLiteral("no answer");
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }

    bool takeLoopback(int waitMs)
    {
        if (m_lock >= 0) return true;
        const QByteArray path = QDir::temp().filePath(QStringLiteral("lsx-gigevision-loopback.lock")).toLocal8Bit();
        m_lock = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (m_lock < 0) return false;
        const QDeadlineTimer deadline(waitMs);
        while (::flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
            if (deadline.hasExpired()) {
                releaseLoopback();
                return false;
            }
            QThread::msleep(50);
        }
        return true;
    }

    void releaseLoopback()
    {
        if (m_lock < 0) return;
        ::flock(m_lock, LOCK_UN);
        ::close(m_lock);
        m_lock = -1;
    }

    QProcess m_process;
    QString m_serial;
    QString m_configPath;
    int m_lock = -1;
};

// A serial number no other run of the tests uses at the same time.
inline QString uniqueSerial(const char* prefix)
{
    return QStringLiteral("%1%2").arg(QLatin1String(prefix)).arg(QCoreApplication::applicationPid() % 100000);
}

}  // namespace gvtest
