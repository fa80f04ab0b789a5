// The records' store against a real PostgreSQL server, a private cluster started for the test:
// the schema made once when four stations open a new database at the same moment, the round trip
// of a record, the same run inserted by four connections at once stored once, runs of four
// connections at once all stored, a database of version 1 migrated and a newer one refused, and
// the server stopped and started again: the store says so at once, the record waits in the spool
// and arrives once when the server answers.
#include "records/pgcluster.h"
#include "records/recordspool.h"
#include "records/recordstore.h"
#include "records/sampleresult.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace {

RunRecord recordOf(const QJsonObject& result)
{
    RunRecord r;
    QString error;
    if (!recordFromResult(result, r, &error)) qWarning("%s", qPrintable(error));
    return r;
}

// Runs `body(i)` on `n` threads at once, each released at the same moment.
void together(int n, const std::function<void(int)>& body)
{
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < n; ++i)
        threads.emplace_back([&, i] {
            ++ready;
            while (ready.load() < n) std::this_thread::yield();
            body(i);
        });
    for (std::thread& t : threads) t.join();
}

}  // namespace

class TestRecordsPg : public QObject {
    Q_OBJECT

    PgCluster m_pg;
    QTemporaryDir m_dir;

    RecordLocation where(const QString& database = QStringLiteral("records")) const
    {
        return parseRecordLocation(m_pg.url(database), QString(), nullptr);
    }

    // One statement on a database of the cluster, past the store; the first row's values.
    QVariantList query(const QString& database, const QString& sql)
    {
        QVariantList row;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), QStringLiteral("direct"));
            db.setHostName(m_pg.socketDir());
            db.setUserName(QStringLiteral("lsx"));
            db.setDatabaseName(database);
            QSqlQuery q(db);
            if (db.open() && q.exec(sql) && q.next())
                for (int i = 0; i < q.record().count(); ++i) row << q.value(i).toInt();
            else if (q.lastError().isValid())
                qWarning("%s", qPrintable(q.lastError().text()));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("direct"));
        return row;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QString error;
        QVERIFY2(m_pg.start(&error), qPrintable(error));
    }

    void schemaMadeOnceByFourStations()
    {
        std::atomic<int> opened{0};
        QStringList errors;
        QMutex lock;
        together(4, [&](int) {
            RecordStore store(where());
            if (store.open()) {
                ++opened;
                return;
            }
            QMutexLocker l(&lock);
            errors << store.error();
        });
        QVERIFY2(errors.isEmpty(), qPrintable(errors.join('\n')));
        QCOMPARE(opened.load(), 4);
        RecordStore store(where());
        QVERIFY(store.open());
        QCOMPARE(store.versionFound(), kRecordSchemaVersion);
        const QVariantList row =
            query(QStringLiteral("records"), QStringLiteral("SELECT COUNT(*), MAX(version) FROM schema_info"));
        QCOMPARE(row, (QVariantList{1, kRecordSchemaVersion}));
    }

    void roundTrip()
    {
        RecordStore store(where());
        QVERIFY2(store.open(), qPrintable(store.error()));
        const QJsonObject result = sampleResult(QStringLiteral("SN-PG"), 0.125, kNoFigure);
        const RunRecord r = recordOf(result);
        QCOMPARE(store.insert(r), RecordStore::Insert::Stored);
        QCOMPARE(store.insert(r), RecordStore::Insert::AlreadyStored);
        RunRecord back;
        QVERIFY(store.run(r.runId, back));
        QCOMPARE(back.result, result);
        QCOMPARE(back.started, r.started);
        QCOMPARE(back.operatorName, QStringLiteral("张三"));
        QCOMPARE(back.prnuAfter, 0.125);
        QVERIFY(std::isnan(back.dsnuAfter));
        QCOMPARE(back.figures.size(), r.figures.size());
        for (int i = 0; i < r.figures.size(); ++i) {
            bool found = false;
            for (const RecordFigure& g : back.figures) {
                const RecordFigure& f = r.figures[i];
                if (g.step != f.step || g.name != f.name || g.plane != f.plane) continue;
                found = true;
                QCOMPARE(g.hasValue(), f.hasValue());
                if (f.hasValue()) QCOMPARE(g.value, f.value);
                QCOMPARE(g.text, f.text);
            }
            QVERIFY2(found, qPrintable(r.figures[i].name));
        }
        QCOMPARE(back.files.size(), 1);
        QCOMPARE(back.files[0].sha256, QString(64, QLatin1Char('a')));
    }

    void sameRunFromFourConnectionsStoredOnce()
    {
        const RunRecord r = recordOf(sampleResult(QStringLiteral("SN-SAME"), 0.1, 0.1));
        std::atomic<int> stored{0}, already{0}, failed{0};
        together(4, [&](int) {
            RecordStore store(where());
            if (!store.open()) {
                ++failed;
                return;
            }
            switch (store.insert(r)) {
            case RecordStore::Insert::Stored: ++stored; break;
            case RecordStore::Insert::AlreadyStored: ++already; break;
            case RecordStore::Insert::Failed: ++failed; break;
            }
        });
        QCOMPARE(failed.load(), 0);
        QCOMPARE(stored.load(), 1);
        QCOMPARE(already.load(), 3);
        RecordStore store(where());
        QVERIFY(store.open());
        QCOMPARE(store.count(r.runId), 1);
        RunRecord back;
        QVERIFY(store.run(r.runId, back));
        QCOMPARE(back.figures.size(), r.figures.size());
    }

    void runsOfFourConnectionsAtOnce()
    {
        std::atomic<int> stored{0};
        together(4, [&](int i) {
            RecordStore store(where());
            if (!store.open()) return;
            for (int n = 0; n < 10; ++n)
                if (store.insert(recordOf(sampleResult(QStringLiteral("SN-MANY-%1").arg(i), 0.1 * n, 0.1)))
                    == RecordStore::Insert::Stored)
                    ++stored;
        });
        QCOMPARE(stored.load(), 40);
        RecordStore store(where());
        QVERIFY(store.open());
        for (int i = 0; i < 4; ++i) {
            QList<RunRecord> runs;
            QVERIFY(store.runs(QStringLiteral("SN-MANY-%1").arg(i), runs));
            QCOMPARE(runs.size(), 10);
            for (const RunRecord& r : runs) QCOMPARE(r.steps.size(), 5);
        }
    }

    void migrationAndNewerSchema()
    {
        QString error;
        QVERIFY2(m_pg.createDatabase(QStringLiteral("old"), &error), qPrintable(error));
        const RunRecord r = recordOf(sampleResult(QStringLiteral("SN-OLD"), 0.375, 0.25));
        {
            RecordStore old(where(QStringLiteral("old")));
            QVERIFY2(old.open(1), qPrintable(old.error()));
            QCOMPARE(old.insert(r), RecordStore::Insert::Stored);
        }
        {
            RecordStore store(where(QStringLiteral("old")));
            QVERIFY2(store.open(), qPrintable(store.error()));
            QCOMPARE(store.versionFound(), 1);
            RunRecord back;
            QVERIFY(store.run(r.runId, back));
            QCOMPARE(back.prnuAfter, 0.375);
            QCOMPARE(back.dsnuAfter, 0.25);
        }
        query(QStringLiteral("old"), QStringLiteral("UPDATE schema_info SET version = 7"));
        RecordStore store(where(QStringLiteral("old")));
        QVERIFY(!store.open());
        QVERIFY2(store.error().contains(QStringLiteral("版本 7 高于本程序支持的版本")), qPrintable(store.error()));
    }

    // Last: the server goes away and comes back.
    void serverStoppedAndStartedAgain()
    {
        const QString spool = m_dir.filePath(QStringLiteral("spool"));
        QVERIFY(m_pg.stop());
        RecordStore down(where());
        QElapsedTimer t;
        t.start();
        QVERIFY(!down.open());
        QVERIFY(t.elapsed() < 6000);
        QVERIFY2(down.error().contains(QStringLiteral("记录数据库 postgresql://lsx@/records")),
                 qPrintable(down.error()));
        const QJsonObject result = sampleResult(QStringLiteral("SN-AWAY"), 0.2, 0.2);
        Delivery d = deliverRecord(result, where(), spool);
        QVERIFY(!d.stored);
        QVERIFY(d.spooled);
        QCOMPARE(d.pending, 1);

        QString error;
        QVERIFY2(m_pg.restart(&error), qPrintable(error));
        d = sendSpool(where(), spool);
        QCOMPARE(d.othersSent, 1);
        QCOMPARE(d.pending, 0);
        RecordStore store(where());
        QVERIFY(store.open());
        QCOMPARE(store.count(result.value("runId").toString()), 1);
    }
};

QTEST_GUILESS_MAIN(TestRecordsPg)
#include "test_records_pg.moc"
