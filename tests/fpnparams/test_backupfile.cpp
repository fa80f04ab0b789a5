// The backup file of what a write into the camera overwrites: written and read back value for
// value (FPN sets of several gains and planes, flat-field sets, an empty flat-field set), its
// name, its header a comment under any translation, every refusal naming the check that failed,
// and a write that cannot finish leaving the earlier file whole.
#include "fpnparams/backup.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTranslator>
#include <QtTest>

#include <sys/resource.h>
#include <csignal>
#include <limits>

namespace {

CameraBackup fpnBackup(int gains, int planes, int columns)
{
    CameraBackup b;
    b.kind = CameraBackup::Kind::Fpn;
    b.camera = QStringLiteral("SIM-LS4096-M");
    b.model = QStringLiteral("LSM4096A");
    b.serial = QStringLiteral("SN 17/3");
    b.set = QStringLiteral("UserSet0");
    b.time = QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9, 123));
    b.fpnEnabled = true;
    b.bits = 2;
    b.doffset = -3;
    b.targetFormat = 34;
    b.gainMin = 1.5f;
    b.gains = gains;
    b.planes = planes;
    for (int r = 0; r < gains * planes; ++r) {
        QList<float> k, bv;
        for (int c = 0; c < columns; ++c) {
            // Values whose decimal forms are long: a third, a tiny and a large one.
            k.append(1.0f / 3.0f + float(c) * 1e-7f + float(r));
            bv.append(c % 3 == 0 ? 65472.0f : c % 3 == 1 ? 1.17549435e-38f : -float(c) / 7.0f);
        }
        b.k.append(k);
        b.b.append(bv);
    }
    return b;
}

// A translation of the file's header that drops its '#' and breaks it in two lines.
class LooseHeader : public QTranslator {
public:
    QString translate(const char* context, const char* source, const char*, int) const override
    {
        if (QByteArray(context) == "Backup" && QString::fromUtf8(source).contains(QStringLiteral("参数备份")))
            return QStringLiteral("Line-scan calibration tool:\nparameters kept before a write");
        return QString();
    }
    bool isEmpty() const override { return false; }
};

}  // namespace

class TestBackupFile : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    QByteArray saved(const CameraBackup& b)
    {
        QString error;
        const QString p = path(QStringLiteral("b.backup.ini"));
        if (!saveBackupFile(p, b, error)) return QByteArray();
        QFile f(p);
        f.open(QIODevice::ReadOnly);
        return f.readAll();
    }

    QString refusal(const QByteArray& text)
    {
        const QString p = path(QStringLiteral("bad.backup.ini"));
        QFile f(p);
        f.open(QIODevice::WriteOnly | QIODevice::Truncate);
        f.write(text);
        f.close();
        CameraBackup b;
        QString error;
        if (loadBackupFile(p, b, error)) return QStringLiteral("(taken)");
        return error;
    }

private slots:
    void fpnValueForValue()
    {
        const CameraBackup b = fpnBackup(2, 3, 17);
        QString error;
        const QString p = path(QStringLiteral("fpn.backup.ini"));
        QVERIFY2(saveBackupFile(p, b, error), qPrintable(error));
        CameraBackup back;
        QVERIFY2(loadBackupFile(p, back, error), qPrintable(error));
        QCOMPARE(back.kind, CameraBackup::Kind::Fpn);
        QCOMPARE(back.camera, b.camera);
        QCOMPARE(back.serial, b.serial);
        QCOMPARE(back.set, b.set);
        QCOMPARE(back.time, b.time);
        QCOMPARE(back.fpnEnabled, true);
        QCOMPARE(back.bits, 2);
        QCOMPARE(back.doffset, -3);
        QCOMPARE(back.targetFormat, 34);
        QCOMPARE(back.gainMin, 1.5f);
        QCOMPARE(back.gains, 2);
        QCOMPARE(back.planes, 3);
        QCOMPARE(back.columns(), 17);
        QCOMPARE(back.k, b.k);
        QCOMPARE(back.b, b.b);
    }

    // A camera's texts with line breaks (a model or serial as a camera's firmware may report it)
    // cannot break the file: each stays on its line, its control characters spaces, and reads
    // back as the camera's text passed through the same rule.
    void cameraTextsWithLineBreaks()
    {
        CameraBackup b = fpnBackup(1, 1, 3);
        b.camera = QStringLiteral("SIM\nX");
        b.model = QStringLiteral(" LSM\t4096 ");
        b.serial = QStringLiteral("SN1\r\n[FFC]\nKind=FFC");
        QString error;
        const QString p = path(QStringLiteral("lines.backup.ini"));
        QVERIFY2(saveBackupFile(p, b, error), qPrintable(error));
        CameraBackup back;
        QVERIFY2(loadBackupFile(p, back, error), qPrintable(error));
        QCOMPARE(back.kind, CameraBackup::Kind::Fpn);
        QCOMPARE(back.camera, QStringLiteral("SIM X"));
        QCOMPARE(back.model, QStringLiteral("LSM 4096"));
        QCOMPARE(back.serial, QStringLiteral("SN1  [FFC] Kind=FFC"));
        QCOMPARE(back.serial, backupText(b.serial));
        QCOMPARE(back.camera, backupText(b.camera));
        QCOMPARE(back.b, b.b);
    }

    void flatFieldValueForValue()
    {
        CameraBackup b = fpnBackup(1, 1, 1);
        b.kind = CameraBackup::Kind::Ffc;
        b.set = QStringLiteral("UserSet3");
        b.ffc = {{1.0, 65535.0 / 16384.0, 12345.0 / 16384.0}, {0.0, 1.0 / 16384.0, 2.0}};
        QString error;
        const QString p = path(QStringLiteral("ffc.backup.ini"));
        QVERIFY2(saveBackupFile(p, b, error), qPrintable(error));
        CameraBackup back;
        QVERIFY2(loadBackupFile(p, back, error), qPrintable(error));
        QCOMPARE(back.kind, CameraBackup::Kind::Ffc);
        QCOMPARE(back.ffc, b.ffc);

        // A set that held nothing is kept as such.
        b.ffc.clear();
        QVERIFY(saveBackupFile(p, b, error));
        QVERIFY2(loadBackupFile(p, back, error), qPrintable(error));
        QVERIFY(back.ffc.isEmpty());
    }

    // The header is a comment in any language: a file written under a translation that leaves out
    // the '#' or breaks the line still loads.
    void headerIsACommentInAnyLanguage()
    {
        LooseHeader english;
        QVERIFY(QCoreApplication::installTranslator(&english));
        const QByteArray text = saved(fpnBackup(1, 1, 3));
        QCoreApplication::removeTranslator(&english);
        QVERIFY(text.startsWith("# Line-scan calibration tool: parameters kept before a write\n[Backup]\n"));
        QCOMPARE(refusal(text), QStringLiteral("(taken)"));
    }

    void fileName()
    {
        CameraBackup b = fpnBackup(1, 1, 1);
        QCOMPARE(backupFileName(b), QStringLiteral("SN_17_3_20240506-070809_FPN_UserSet0.backup.ini"));
        b.serial.clear();
        b.kind = CameraBackup::Kind::Ffc;
        QCOMPARE(backupFileName(b), QStringLiteral("SIM-LS4096-M_20240506-070809_FFC_UserSet0.backup.ini"));
    }

    // Each row changes the file of a set of 2 gains, 3 planes and 4 columns: the first match of
    // the pattern `from` becomes `to`.
    void refusalsNameTheCheck_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("words");
        QTest::newRow("version") << "Version=1"
                                 << "Version=2"
                                 << "键 Backup/Version 的值 \"2\" 应为 1 到 1 的整数";
        QTest::newRow("kind") << "Kind=FPN"
                              << "Kind=LSC"
                              << "键 Backup/Kind 的值 \"LSC\" 应为 FPN 或 FFC";
        QTest::newRow("missing key") << "Planes=3\n"
                                     << ""
                                     << "缺少键 FPN/Planes";
        QTest::newRow("row cut short") << " [^ ]+\nB0="
                                       << "\nB0="
                                       << "FPN/K0 有 3 列，应为 4 列";
        QTest::newRow("row too long") << "\nB0="
                                      << " 1\nB0="
                                      << "FPN/K0 有 5 列，应为 4 列";
        QTest::newRow("not a number") << "K1=[^ ]+"
                                      << "K1=x"
                                      << "FPN/K1 第 0 列的值 \"x\" 不是";
        QTest::newRow("not finite") << "B2=[^ ]+ [^ ]+"
                                    << "B2=0 nan"
                                    << "FPN/B2 第 1 列的值 \"nan\" 不是";
        QTest::newRow("a row too many") << "Gains=2"
                                        << "Gains=1"
                                        << "行数多于 Gains x Planes = 3";
        QTest::newRow("a row missing") << "\nK5=[^\n]*"
                                       << ""
                                       << "缺少键 FPN/K5";
        QTest::newRow("duplicate") << "Set=UserSet0"
                                   << "Set=UserSet0\nSet=UserSet1"
                                   << "键 Backup/Set 重复";
        QTest::newRow("no key") << "Set=UserSet0"
                                << "Set=UserSet0\nhello"
                                << "行不是 \"[节]\" 或 \"键=值\"";
        QTest::newRow("bits") << "Bits=2"
                              << "Bits=1"
                              << "键 FPN/Bits 的值 1 应为 0 或 2";
        QTest::newRow("time") << "Time=2024"
                              << "Time=soon 2024"
                              << "键 Backup/Time 的值";
        QTest::newRow("empty set") << "Set=UserSet0"
                                   << "Set="
                                   << "键 Backup/Set 为空";
    }

    void refusalsNameTheCheck()
    {
        QFETCH(QString, from);
        QFETCH(QString, to);
        QFETCH(QString, words);
        QString text = QString::fromUtf8(saved(fpnBackup(2, 3, 4)));
        const QRegularExpressionMatch m = QRegularExpression(from).match(text);
        QVERIFY2(m.hasMatch(), qPrintable(from));
        text.replace(m.capturedStart(), m.capturedLength(), to);
        const QString why = refusal(text.toUtf8());
        QVERIFY2(why.contains(words), qPrintable(why));
        QVERIFY2(why.startsWith(QStringLiteral("备份文件 ")), qPrintable(why));
        // The file as written is taken.
        QCOMPARE(refusal(saved(fpnBackup(2, 3, 4))), QStringLiteral("(taken)"));
    }

    void unreadableFiles()
    {
        CameraBackup b;
        QString error;
        QVERIFY(!loadBackupFile(path(QStringLiteral("none.backup.ini")), b, error));
        QVERIFY(error.contains(QStringLiteral("文件不存在")));
        // Larger than any camera's memory: refused before it is read.
        QFile big(path(QStringLiteral("big.backup.ini")));
        QVERIFY(big.open(QIODevice::WriteOnly));
        QVERIFY(big.resize(qint64(65) << 20));
        big.close();
        QVERIFY(!loadBackupFile(big.fileName(), b, error));
        QVERIFY2(error.contains(QStringLiteral("超出任何相机参数的大小")), qPrintable(error));
    }

    // A write that cannot finish (a file size limit, as on a full disk; a folder that is a file)
    // fails with the path named and leaves the earlier file byte for byte.
    void failedWriteLeavesTheEarlierFile()
    {
        const QString p = path(QStringLiteral("keep.backup.ini"));
        QString error;
        QVERIFY(saveBackupFile(p, fpnBackup(1, 1, 2), error));
        QFile f(p);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray before = f.readAll();
        f.close();

        rlimit old{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &old), 0);
        const auto previous = std::signal(SIGXFSZ, SIG_IGN);
        rlimit small = old;
        small.rlim_cur = 4096;
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &small), 0);
        const bool ok = saveBackupFile(p, fpnBackup(4, 3, 256), error);
        setrlimit(RLIMIT_FSIZE, &old);
        std::signal(SIGXFSZ, previous);
        QVERIFY(!ok);
        QVERIFY2(error.contains(p), qPrintable(error));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), before);
        f.close();

        QVERIFY(!saveBackupFile(p + QStringLiteral("/inside.backup.ini"), fpnBackup(1, 1, 2), error));
        QVERIFY2(error.startsWith(QStringLiteral("无法写入备份文件 ")), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(TestBackupFile)
#include "test_backupfile.moc"
