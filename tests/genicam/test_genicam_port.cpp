// The loopback's GigE Vision port taken by something outside the tests: a test camera cannot start
// there, and says so within seconds, naming what answers on the port, instead of waiting for a
// port that is not going to be given back.
#include "genicam/testcamera.h"

#include <QElapsedTimer>
#include <QtTest>

using namespace gvtest;

class TestGenicamPort : public QObject {
    Q_OBJECT

    // A test camera started by hand, as an operator would start a simulator: outside TestCamera.
    static bool startByHand(QProcess& p, const QString& serial)
    {
        p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        p.start(QString::fromLocal8Bit(qgetenv("LSX_GVCAMERA")),
                {QStringLiteral("--serial"), serial, QStringLiteral("--xml"),
                 QString::fromLocal8Bit(qgetenv("LSX_GVCAMERA_XML"))});
        if (!p.waitForStarted(10000)) return false;
        const QDeadlineTimer deadline(30000);
        while (!p.canReadLine() && !deadline.hasExpired()) p.waitForReadyRead(100);
        return QString::fromUtf8(p.readLine()).trimmed() == QStringLiteral("ready ") + serial;
    }

    static void stopByHand(QProcess& p)
    {
        p.write("quit\n");
        p.closeWriteChannel();
        if (!p.waitForFinished(10000)) p.kill();
        p.waitForFinished(10000);
    }

    static Options options(const char* prefix)
    {
        Options o;
        o.serial = uniqueSerial(prefix);
        return o;
    }

private slots:
    void anotherDeviceOnThePortIsNamedWithinSeconds()
    {
        // The loopback is ours for the test: nothing of the other test runs starts meanwhile.
        QVERIFY2(LoopbackLock::take(240000), "the loopback's lock stayed taken");
        QProcess other;
        const QString serial = uniqueSerial("HAND");
        QVERIFY2(startByHand(other, serial), "the device started by hand did not come up");
        QCOMPARE(loopbackDevice(), QStringLiteral("LSXTest LS4096-GV (serial %1)").arg(serial));

        TestCamera camera;
        QElapsedTimer clock;
        clock.start();
        const QString failed = camera.start(options("P"));
        const qint64 ms = clock.elapsed();
        qInfo("refused after %lld ms: %s", ms, qPrintable(failed));
        QVERIFY(ms < 15000);
        QVERIFY2(failed.contains(
                     QStringLiteral("another GigE Vision device answers on 127.0.0.1:3956 (LSXTest LS4096-GV (serial %1))")
                         .arg(serial)),
                 qPrintable(failed));
        QVERIFY(!camera.running());
        stopByHand(other);

        // The port given back, a test camera starts at once.
        TestCamera after;
        const QString started = after.start(options("Q"));
        QVERIFY2(started.isEmpty(), qPrintable(started));
        QVERIFY(loopbackDevice().contains(QStringLiteral("LSXTest")));
        after.stop();
        LoopbackLock::release();
    }

    void aProgramThatDoesNotAnswerIsToldApart()
    {
        QVERIFY2(LoopbackLock::take(240000), "the loopback's lock stayed taken");
        const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(3956);
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        QVERIFY2(::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0, "the port was not free");
        TestCamera camera;
        QElapsedTimer clock;
        clock.start();
        const QString failed = camera.start(options("R"));
        QVERIFY(clock.elapsed() < 15000);
        QVERIFY2(failed.contains(QStringLiteral("held by a program that does not answer GigE Vision discovery")),
                 qPrintable(failed));
        ::close(fd);
        LoopbackLock::release();
    }
};

QTEST_GUILESS_MAIN(TestGenicamPort)
#include "test_genicam_port.moc"
