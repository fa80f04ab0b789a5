#pragma once
// The test camera (lsxgvcamera) run by a test: started on the loopback, spoken to through its
// commands, and stopped at the end, whatever happened in between.
//
// GigE Vision devices answer on the one control port 3956; on the loopback only one of them can
// listen at a time. The genicam tests share a ctest resource lock for that, and a test camera is
// started only while its test holds the loopback's file lock, so that test runs of other build
// trees on the same machine take their turn instead of failing. A device that holds the port
// without that lock (a camera simulator started by hand, Aravis' arv-fake-gv-camera-0.8) is not
// waited for: the start fails within seconds, naming the device that answers there.

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QThread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace gvtest {

// The loopback's file lock, held once per process however many holders take it (a test that
// holds it may start test cameras of its own).
class LoopbackLock {
public:
    // Waits up to waitMs for the lock; false when another process kept it that long.
    static bool take(int waitMs)
    {
        State& s = state();
        if (s.holders > 0) {
            ++s.holders;
            return true;
        }
        const QByteArray path = QDir::temp().filePath(QStringLiteral("lsx-gigevision-loopback.lock")).toLocal8Bit();
        const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (fd < 0) return false;
        const QDeadlineTimer deadline(waitMs);
        while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            if (deadline.hasExpired()) {
                ::close(fd);
                return false;
            }
            QThread::msleep(50);
        }
        s.fd = fd;
        s.holders = 1;
        return true;
    }
    static void release()
    {
        State& s = state();
        if (s.holders == 0 || --s.holders > 0) return;
        ::flock(s.fd, LOCK_UN);
        ::close(s.fd);
        s.fd = -1;
    }

private:
    struct State {
        int fd = -1;
        int holders = 0;
    };
    static State& state()
    {
        static State s;
        return s;
    }
};

// Who answers a GigE Vision discovery on the loopback's control port: "vendor model (serial S)",
// or an empty text when nothing answers within waitMs.
inline QString loopbackDevice(int waitMs = 500)
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return QString();
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(3956);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // GVCP DISCOVERY_CMD: key 0x42, acknowledge wanted, command 0x0002, no payload, request 1.
    const uint8_t command[8] = {0x42, 0x11, 0x00, 0x02, 0x00, 0x00, 0x00, 0x01};
    QString who;
    if (::sendto(fd, command, sizeof command, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) == sizeof command) {
        pollfd p{fd, POLLIN, 0};
        uint8_t ack[8 + 248] = {};
        // DISCOVERY_ACK (0x0003): the device's bootstrap registers; vendor at 0x48, model at
        // 0x68, serial at 0xD8 of the payload.
        if (::poll(&p, 1, waitMs) == 1 && ::recv(fd, ack, sizeof ack, 0) >= 8 + 0xE8 && ack[3] == 0x03) {
            auto text = [&](int offset, int size) {
                return QString::fromLatin1(reinterpret_cast<const char*>(ack + 8 + offset), size).section(QChar(0), 0, 0);
            };
            who = QStringLiteral("%1 %2 (serial %3)").arg(text(0x48, 32), text(0x68, 32), text(0xD8, 16)).simplified();
        }
    }
    ::close(fd);
    return who;
}

struct Options {
    QString serial;            // unique per test run
    bool builtinTree = false;  // Aravis' own area-camera feature tree instead of ours
    QString simCamera = QStringLiteral("SIM-LS4096-M");
    QString simConfig;  // JSON for the simulated camera (LSX_SIM_CONFIG), or empty
    QString xml;        // our feature tree from this file instead of LSX_GVCAMERA_XML
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
        const QString xml =
            options.xml.isEmpty() ? QString::fromLocal8Bit(qgetenv("LSX_GVCAMERA_XML")) : options.xml;
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
        // With the lock held the port is free, unless a device outside the tests holds it: a
        // test camera of ours that is just ending lets go within a moment, anything else is not
        // waited for.
        const QDeadlineTimer deadline(kBusyGraceMs);
        for (;;) {
            m_process.start(program, args);
            if (!m_process.waitForStarted(10000))
                return QStringLiteral("the test camera did not start: ") + m_process.errorString();
            const QString first = readLine(30000);
            if (first == QStringLiteral("ready ") + options.serial) return QString();
            m_process.waitForFinished(10000);
            if (first != QStringLiteral("busy")) {
                stop();
                return QStringLiteral("the test camera said: ") + first;
            }
            if (deadline.hasExpired()) {
                stop();
                return portTaken();
            }
            QThread::msleep(200);
        }
    }

    // Why the loopback's port 3956 cannot be had, naming what answers there.
    static QString portTaken()
    {
        const QString who = loopbackDevice();
        if (who.isEmpty())
            return QStringLiteral("the loopback's GigE Vision control port 127.0.0.1:3956 is held by a program that "
                                  "does not answer GigE Vision discovery: end it and run the tests again");
        return QStringLiteral("another GigE Vision device answers on 127.0.0.1:3956 (%1), outside the tests' "
                              "loopback lock: stop it (a camera simulator or arv-fake-gv-camera-0.8 started by hand) "
                              "and run the tests again")
            .arg(who);
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

    // A device of ours that is ending gives the port back within this time.
    static constexpr int kBusyGraceMs = 3000;

    bool takeLoopback(int waitMs)
    {
        if (m_locked) return true;
        m_locked = LoopbackLock::take(waitMs);
        return m_locked;
    }

    void releaseLoopback()
    {
        if (m_locked) LoopbackLock::release();
        m_locked = false;
    }

    QProcess m_process;
    QString m_serial;
    QString m_configPath;
    bool m_locked = false;
};

// A serial number no other run of the tests uses at the same time.
// The test camera's feature tree without its black-level feature, as a standard camera without
// the maker's firmware has none: written to `to`; false when `from` has no such feature.
inline bool writeTreeWithoutBlackLevel(const QString& from, const QString& to)
{
    QFile in(from);
    if (!in.open(QIODevice::ReadOnly)) return false;
    QString xml = QString::fromUtf8(in.readAll());
    const int start = xml.indexOf(QStringLiteral("<Integer Name=\"BlackLevel\""));
    const int end = xml.indexOf(QStringLiteral("</Integer>"), start);
    if (start < 0 || end < 0) return false;
    xml.remove(start, end + int(qstrlen("</Integer>")) - start);
    xml.remove(QStringLiteral("<pFeature>BlackLevel</pFeature>"));
    QFile out(to);
    return out.open(QIODevice::WriteOnly) && out.write(xml.toUtf8()) > 0;
}

inline QString uniqueSerial(const char* prefix)
{
    return QStringLiteral("%1%2").arg(QLatin1String(prefix)).arg(QCoreApplication::applicationPid() % 100000);
}

}  // namespace gvtest
