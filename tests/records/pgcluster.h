#pragma once
// A private PostgreSQL cluster for a test: Debian's initdb and pg_ctl (LSX_PG_BIN) in a folder of
// its own under /tmp, listening on a Unix socket in that folder only (no network), with one
// database "records" and trust for local connections; stopped and removed at the end.
//
// PostgreSQL refuses to run as root. When the test runs as root the cluster's programs run as the
// system account "postgres" that Debian's postgresql package creates (or "nobody" without it),
// through setpriv of util-linux, and the folder belongs to that account; root's own clients reach
// the socket as any local client does.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstdlib>

class PgCluster {
public:
    ~PgCluster()
    {
        stop();
        if (!m_dir.isEmpty()) QDir(m_dir).removeRecursively();
    }

    // initdb, start, createdb; false with `error` set.
    bool start(QString* error)
    {
        const QString bin = QStringLiteral(LSX_PG_BIN);
        if (!QFile::exists(bin + QStringLiteral("/initdb")))
            return fail(error,
                        QStringLiteral("PostgreSQL is not installed (no %1/initdb): run scripts/setup.sh").arg(bin));
        QByteArray templ("/tmp/lsxpg-XXXXXX");
        if (!mkdtemp(templ.data())) return fail(error, QStringLiteral("no folder under /tmp"));
        m_dir = QString::fromLocal8Bit(templ);
        if (geteuid() == 0) {
            const passwd* pw = getpwnam("postgres");
            if (!pw) pw = getpwnam("nobody");
            if (!pw) return fail(error, QStringLiteral("no unprivileged account to run the server"));
            m_uid = pw->pw_uid;
            m_gid = pw->pw_gid;
            if (chown(templ.constData(), m_uid, m_gid) != 0)
                return fail(error, QStringLiteral("chown of %1").arg(m_dir));
        }
        QString out;
        if (!runAsServer(
                bin + QStringLiteral("/initdb"),
                {QStringLiteral("-D"), data(), QStringLiteral("-U"), user(), QStringLiteral("-A"),
                 QStringLiteral("trust"), QStringLiteral("-E"), QStringLiteral("UTF8"), QStringLiteral("--locale=C"),
                 QStringLiteral("--no-sync"), QStringLiteral("--no-instructions")},
                &out))
            return fail(error, QStringLiteral("initdb: ") + out);
        QFile conf(data() + QStringLiteral("/postgresql.conf"));
        if (!conf.open(QIODevice::Append)) return fail(error, QStringLiteral("cannot write %1").arg(conf.fileName()));
        conf.write(QStringLiteral("listen_addresses = ''\nunix_socket_directories = '%1'\nfsync = off\n"
                                  "max_connections = 40\n")
                       .arg(m_dir)
                       .toUtf8());
        conf.close();
        if (!startServer(&out)) return fail(error, QStringLiteral("pg_ctl start: ") + out);
        return createDatabase(QStringLiteral("records"), error);
    }

    // Another empty database of the cluster.
    bool createDatabase(const QString& name, QString* error)
    {
        QProcess createdb;
        createdb.start(QStringLiteral(LSX_PG_BIN "/createdb"),
                       {QStringLiteral("-h"), m_dir, QStringLiteral("-U"), user(), name});
        if (createdb.waitForFinished(30000) && createdb.exitStatus() == QProcess::NormalExit
            && createdb.exitCode() == 0)
            return true;
        return fail(error, QStringLiteral("createdb: ") + QString::fromLocal8Bit(createdb.readAllStandardError()));
    }

    // Stops the server (fast shutdown: sessions are cut); true when it is down.
    bool stop()
    {
        if (!m_running) return true;
        QString out;
        const bool ok = runAsServer(QStringLiteral(LSX_PG_BIN "/pg_ctl"),
                                    {QStringLiteral("-D"), data(), QStringLiteral("-m"), QStringLiteral("fast"),
                                     QStringLiteral("-w"), QStringLiteral("stop")},
                                    &out);
        if (ok) m_running = false;
        return ok;
    }

    // Starts the stopped server again on the same data.
    bool restart(QString* error)
    {
        QString out;
        if (startServer(&out)) return true;
        return fail(error, QStringLiteral("pg_ctl start: ") + out);
    }

    // The URL of the test's database, as FPN.ini or --db name it.
    QString url(const QString& database = QStringLiteral("records")) const
    {
        return QStringLiteral("postgresql://%1@/%2?host=%3").arg(user(), database, m_dir);
    }
    QString socketDir() const { return m_dir; }

private:
    static QString user() { return QStringLiteral("lsx"); }
    QString data() const { return m_dir + QStringLiteral("/data"); }

    static bool fail(QString* error, const QString& why)
    {
        if (error) *error = why;
        return false;
    }

    bool startServer(QString* out)
    {
        const bool ok = runAsServer(QStringLiteral(LSX_PG_BIN "/pg_ctl"),
                                    {QStringLiteral("-D"), data(), QStringLiteral("-l"), m_dir + QStringLiteral("/log"),
                                     QStringLiteral("-w"), QStringLiteral("start")},
                                    out);
        m_running = m_running || ok;
        return ok;
    }

    // Runs a program of the server, as the server's account when the test is root.
    bool runAsServer(const QString& program, const QStringList& args, QString* out)
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
        p.setProcessEnvironment(env);
        p.setProcessChannelMode(QProcess::MergedChannels);
        p.setWorkingDirectory(m_dir);
        if (geteuid() == 0)
            p.start(QStringLiteral("setpriv"),
                    QStringList{QStringLiteral("--reuid=%1").arg(m_uid), QStringLiteral("--regid=%1").arg(m_gid),
                                QStringLiteral("--clear-groups"), QStringLiteral("--"), program}
                        + args);
        else
            p.start(program, args);
        const bool done = p.waitForFinished(60000);
        *out = QString::fromLocal8Bit(p.readAll());
        return done && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    }

    QString m_dir;
    uid_t m_uid = 0;
    gid_t m_gid = 0;
    bool m_running = false;
};
