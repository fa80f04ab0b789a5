// The verification's own raw stacks, read back and measured a second time. A station calibration
// and a verification at 25, 50 and 80 % of saturation on the simulated mono camera (16-bit output)
// and the colour one (8-bit output, whose darks are dithered over eight black-level steps), with
// Verify/StackFolder set; then every file of the index is loaded with OpenCV and the EMVA 1288
// figures are computed again here, written out literally and sharing no code with the tool: column
// means, temporal variance, spatial variance less its temporal share, DSNU1288, PRNU1288, the
// response row's PRNU, and a dark cut off at 0 extrapolated back from its two black-level lifts.
// They must agree with the report the index holds (PRNU within 0.01 %, DSNU within 0.01 DN10),
// and the stacks must be real: as many lines and columns as reported, the lifted darks clear of 0.
// Also: nothing kept by default, and a folder that cannot be made is said and the run goes on.
#include "calibration/simharness.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <opencv2/imgcodecs.hpp>

#include <limits>

namespace {

constexpr int kWidth = 512;
constexpr double kPrnuAgree = 0.01;  // per cent, absolute
constexpr double kDsnuAgree = 0.01;  // DN10
const double kNan = std::numeric_limits<double>::quiet_NaN();

// ---- EMVA 1288 written out: a stack is L rows (moments in time) by N columns, in DN10 ----

using Stack = std::vector<std::vector<double>>;  // [row][column]

Stack loadStack(const QString& path, double toDn10)
{
    const cv::Mat image = cv::imread(QFile::encodeName(path).toStdString(), cv::IMREAD_UNCHANGED);
    Stack out;
    if (image.empty() || image.channels() != 1) return out;
    for (int r = 0; r < image.rows; ++r) {
        std::vector<double> row(size_t(image.cols));
        for (int x = 0; x < image.cols; ++x)
            row[size_t(x)] =
                toDn10 * (image.depth() == CV_16U ? double(image.at<uint16_t>(r, x)) : double(image.at<uint8_t>(r, x)));
        out.push_back(std::move(row));
    }
    return out;
}

struct Moments {
    std::vector<double> mu;  // column means
    double mean = 0.0;       // mu_y
    double temporal = 0.0;   // sigma2_y
    double spatial = 0.0;    // s2_y
    int lines = 0;
};

// The sample variance (n - 1) of a row of values.
double sampleVariance(const std::vector<double>& v)
{
    double m = 0.0;
    for (double x : v) m += x;
    m /= double(v.size());
    double s = 0.0;
    for (double x : v) s += (x - m) * (x - m);
    return s / double(v.size() - 1);
}

// mu[x] = 1/L sum_l y[l][x]; sigma2_y = 1/N sum_x 1/(L-1) sum_l (y[l][x] - mu[x])^2;
// s2_y = var(mu) - sigma2_y / L. A stack taken over `steps` black levels in as many blocks of
// rows is `steps` operating points: its temporal variance is that within each block, pooled
// (L - steps degrees of freedom); the steps between the blocks are no noise, and their mean over
// the blocks is the same in every column mean.
Moments momentsOf(const Stack& y, int steps = 1)
{
    Moments m;
    const size_t lines = y.size(), n = y.front().size();
    m.lines = int(lines);
    m.mu.assign(n, 0.0);
    for (const auto& row : y)
        for (size_t x = 0; x < n; ++x) m.mu[x] += row[x] / double(lines);
    for (double v : m.mu) m.mean += v / double(n);
    for (size_t x = 0; x < n; ++x) {
        double ss = 0.0;
        for (int b = 0; b < steps; ++b) {
            const size_t from = size_t(b) * lines / size_t(steps), to = size_t(b + 1) * lines / size_t(steps);
            double blockMean = 0.0;
            for (size_t l = from; l < to; ++l) blockMean += y[l][x] / double(to - from);
            for (size_t l = from; l < to; ++l) ss += (y[l][x] - blockMean) * (y[l][x] - blockMean);
        }
        m.temporal += ss / double(int(lines) - steps) / double(n);
    }
    m.spatial = sampleVariance(m.mu) - m.temporal / double(lines);
    return m;
}

double dsnu1288(const Moments& dark)
{
    return dark.spatial < 0.0 ? kNan : std::sqrt(dark.spatial);
}

double prnu1288(const Moments& dark, const Moments& bright)
{
    const double pattern = bright.spatial - dark.spatial, signal = bright.mean - dark.mean;
    return pattern < 0.0 || !(signal > 0.0) ? kNan : 100.0 * std::sqrt(pattern) / signal;
}

// The response row r[x] = mu_bright[x] - mu_dark[x]: its spread less the temporal noise each
// column mean carries, over the signal.
double prnuOfResponse(const Moments& dark, const Moments& bright)
{
    std::vector<double> r(dark.mu.size());
    for (size_t x = 0; x < r.size(); ++x) r[x] = bright.mu[x] - dark.mu[x];
    const double pattern =
        sampleVariance(r) - bright.temporal / double(bright.lines) - dark.temporal / double(dark.lines);
    const double signal = bright.mean - dark.mean;
    return pattern < 0.0 || !(signal > 0.0) ? kNan : 100.0 * std::sqrt(pattern) / signal;
}

// The output is linear in the black level: from the stacks at lifts a < b (each a's row at the
// same step of its dither as b's), row by row y0 = ya - a (yb - ya) / (b - a).
Stack extrapolated(const Stack& ya, double a, const Stack& yb, double b)
{
    Stack out;
    for (size_t l = 0; l < std::min(ya.size(), yb.size()); ++l) {
        std::vector<double> row(ya[l].size());
        for (size_t x = 0; x < row.size(); ++x) row[x] = ya[l][x] - a * (yb[l][x] - ya[l][x]) / (b - a);
        out.push_back(std::move(row));
    }
    return out;
}

// The largest share of one column's samples at 0.
double worstColumnAtZero(const Stack& y)
{
    double worst = 0.0;
    for (size_t x = 0; x < y.front().size(); ++x) {
        int zeros = 0;
        for (const auto& row : y) zeros += row[x] <= 0.0 ? 1 : 0;
        worst = std::max(worst, double(zeros) / double(y.size()));
    }
    return worst;
}

// A figure of the index (null: not measurable) against the one recomputed.
bool agree(const QJsonValue& reported, double recomputed, double tolerance)
{
    if (reported.isNull()) return std::isnan(recomputed);
    return std::abs(reported.toDouble() - recomputed) <= tolerance;
}

QString describe(const QJsonValue& reported, double recomputed)
{
    return QStringLiteral("reported %1, recomputed %2")
        .arg(reported.isNull() ? QStringLiteral("null") : QString::number(reported.toDouble(), 'g', 10))
        .arg(recomputed, 0, 'g', 10);
}

}  // namespace

class TestVerifyRawStacks : public QObject, SimHarness {
    Q_OBJECT

    QTemporaryDir m_stacks;

    // The folders the runs made under `root`.
    static QStringList runFolders(const QString& root)
    {
        QStringList out;
        for (const QString& d : QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            out.append(root + QLatin1Char('/') + d);
        return out;
    }

    // One dark of the index as the report measured it: as found, or extrapolated from its lifts
    // ("use" first and second). `lifted` gets the lifted stacks used.
    static Stack darkOf(const QString& folder, const QJsonObject& plane, double toDn10, QList<Stack>& lifted,
                        int& steps)
    {
        steps = 1;
        const QString measured = plane.value(QStringLiteral("measured")).toString();
        if (measured != QLatin1String("extrapolated"))
            return loadStack(folder + '/' + plane["file"].toString(), toDn10);
        QJsonObject first, second;
        for (const QJsonValue& v : plane.value(QStringLiteral("lifted")).toArray()) {
            const QJsonObject part = v.toObject();
            if (part["use"].toString() == QLatin1String("first")) first = part;
            if (part["use"].toString() == QLatin1String("second")) second = part;
        }
        if (first.isEmpty() || second.isEmpty()) return {};
        const Stack a = loadStack(folder + '/' + first["file"].toString(), toDn10);
        const Stack b = loadStack(folder + '/' + second["file"].toString(), toDn10);
        if (a.empty() || b.empty()) return {};
        lifted = {a, b};
        steps = first["ditherSteps"].toInt();
        if (second["ditherSteps"].toInt() != steps || steps < 1) return {};
        // A part spans `ditherSteps` steps from its lift: its mean stands at the middle of them.
        const double middle = (steps - 1) / 2.0;
        return extrapolated(a, first["lift"].toInt() + middle, b, second["lift"].toInt() + middle);
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<VerifyReport>();
        QVERIFY(m_stacks.isValid());
        bindSim(QStringLiteral(R"({"timeScale": 0, "cameras": [
            {"friendlyName": "SIM-LS4096-M", "width": %1},
            {"friendlyName": "SIM-LS2048-C", "width": %1}
        ]})")
                    .arg(kWidth));
    }

    void init() { freshSim(); }

    void cleanupTestCase() { lsx::unbindLibrary(); }

    void recomputedFromTheStacks_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("mono, 16-bit") << "SIM-LS4096-M";
        QTest::newRow("colour, 8-bit") << "SIM-LS2048-C";
    }

    void recomputedFromTheStacks()
    {
        QFETCH(QString, name);
        const QString root = m_stacks.path() + QLatin1Char('/') + QString::fromLatin1(QTest::currentDataTag());
        store(VerifyIni::Levels, QStringLiteral("25,50,80"));
        store(VerifyIni::StackFolder, root);
        auto s = openServer(name);
        s->setFlatEnable(true);
        calibrateAt(s.get(), name, 128);
        if (QTest::currentTestFailed()) return;
        QCOMPARE(reportsOfRun(s.get(), [&] { s->fpnWriteDown(0); }).last().first, 100);
        QList<Report> reports;
        const VerifyReport r = verifyAnswered(s.get(), name, &reports);
        QVERIFY2(!r.planes.isEmpty(), qPrintable(textsOf(reports).join(QLatin1Char('|'))));

        // One folder for the run, said in the progress; the index in it.
        const QStringList folders = runFolders(root);
        QCOMPARE(folders.size(), 1);
        const QString folder = folders.first();
        QVERIFY(textsOf(reports).contains(QStringLiteral("校正验证-原始图像栈保存在 %1。").arg(folder)));
        QFile file(folder + QStringLiteral("/stacks.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QJsonParseError parsed{};
        const QJsonObject index = QJsonDocument::fromJson(file.readAll(), &parsed).object();
        QCOMPARE(parsed.error, QJsonParseError::NoError);
        QCOMPARE(index["finished"].toBool(), true);
        QCOMPARE(index["allWritten"].toBool(), true);
        QCOMPARE(index["blackLevelAsFound"].toInt(), r.doffset);
        const QJsonObject report = index["report"].toObject();
        const QJsonArray reportPlanes = report["planes"].toArray();
        QCOMPARE(reportPlanes.size(), r.planes.size());

        // Every file listed loads; every file in the folder is listed.
        QSet<QString> listed{QStringLiteral("stacks.json")};
        const QJsonArray stacks = index["stacks"].toArray();
        // The working dark, and each level's two bright stacks and dark, both ways.
        QCOMPARE(stacks.size(), 2 + 3 * 4);
        const bool colour = r.planes.size() == 3;
        for (const QJsonValue& v : stacks) {
            const QJsonObject st = v.toObject();
            QCOMPARE(st["bits"].toInt(), colour ? 8 : 16);
            QCOMPARE(st["toDn10"].toDouble(), colour ? 4.0 : 1.0 / 64.0);
            QCOMPARE(st["planes"].toArray().size(), r.planes.size());
            for (const QJsonValue& pv : st["planes"].toArray()) {
                const QJsonObject p = pv.toObject();
                QList<QJsonObject> entries{p};
                for (const QJsonValue& part : p["lifted"].toArray()) {
                    entries.append(part.toObject());
                    QCOMPARE(part["lines"].toInt(), part["ditherSteps"].toInt() * part["rowsPerStep"].toInt());
                }
                for (const QJsonObject& e : entries) {
                    const QString f = e["file"].toString();
                    listed.insert(f);
                    const cv::Mat image =
                        cv::imread(QFile::encodeName(folder + '/' + f).toStdString(), cv::IMREAD_UNCHANGED);
                    QVERIFY2(!image.empty(), qPrintable(f));
                    QCOMPARE(image.channels(), 1);
                    QCOMPARE(image.depth(), colour ? CV_8U : CV_16U);
                    QCOMPARE(image.cols, kWidth);
                    QCOMPARE(image.rows, e["lines"].toInt());
                    QVERIFY2(image.rows >= r.lines, qPrintable(f));
                }
            }
        }
        QSet<QString> present;
        for (const QString& f : QDir(folder).entryList(QDir::Files)) present.insert(f);
        QCOMPARE(present, listed);

        // The stacks of one stage, by plane: stage name and level (0: the working exposure's dark).
        auto stackOf = [&](const QString& stage, double level) {
            for (const QJsonValue& v : stacks) {
                const QJsonObject st = v.toObject();
                const double l = st["levelPercent"].isNull() ? 0.0 : st["levelPercent"].toDouble();
                if (st["stage"].toString() == stage && l == level) return st;
            }
            return QJsonObject();
        };

        double worstPrnu = 0.0, worstDsnu = 0.0;
        // The fewest lines of a stack a figure came from: the report's lines per stack.
        int fewest = std::numeric_limits<int>::max();
        for (int p = 0; p < r.planes.size(); ++p) {
            const QJsonObject reported = reportPlanes[p].toObject();
            QCOMPARE(reported["plane"].toString(), r.planes[p].key);
            for (const bool after : {false, true}) {
                const QString state = after ? QStringLiteral("after") : QStringLiteral("before");
                const QString darkStage = after ? QStringLiteral("darkAfter") : QStringLiteral("darkBefore");
                const QString brightStage = after ? QStringLiteral("brightAfter") : QStringLiteral("brightBefore");
                const QJsonObject figures = reported[state].toObject();
                const VerifyFigures& own = after ? r.planes[p].after : r.planes[p].before;
                // The index holds the run's own figures.
                QVERIFY(agree(figures["dsnu"], own.dsnu, 0.0));

                // DSNU at the working exposure.
                const QJsonObject working = stackOf(darkStage, 0.0);
                QVERIFY(!working.isEmpty());
                const QJsonObject wp = working["planes"].toArray()[p].toObject();
                QCOMPARE(wp["plane"].toString(), r.planes[p].key);
                QCOMPARE(working["exposureUs"].toDouble(), r.exposure);
                QList<Stack> lifted;
                int steps = 1;
                const Stack dark = darkOf(folder, wp, working["toDn10"].toDouble(), lifted, steps);
                QVERIFY(!dark.empty());
                fewest = std::min(fewest, int(dark.size()));
                QCOMPARE(int(dark.front().size()), int(own.darkMeans.size()));
                // Lifted darks clear of 0; the colour camera's always lifted (dithered), the mono's
                // corrected dark too (a corrected dark sits below 0).
                if (colour || after) QCOMPARE(wp["measured"].toString(), QStringLiteral("extrapolated"));
                for (const Stack& l : lifted)
                    QVERIFY2(worstColumnAtZero(l) < 0.01, qPrintable(QString::number(worstColumnAtZero(l))));
                QCOMPARE(steps, colour ? 8 : 1);
                const Moments d = momentsOf(dark, steps);
                // Its column means as the index's report holds them.
                const QJsonArray means = figures["darkColumnMeans"].toArray();
                QCOMPARE(means.size(), kWidth);
                for (int x = 0; x < kWidth; ++x)
                    QVERIFY2(std::abs(means[x].toDouble() - d.mu[size_t(x)]) < 1e-9, qPrintable(QString::number(x)));
                const double dsnu = dsnu1288(d);
                qInfo("%s %s %s: DSNU reported %.5f, recomputed %.5f DN10; temporal variance %.5f / %.5f DN10^2",
                      qPrintable(name), qPrintable(r.planes[p].name), qPrintable(state), own.dsnu, dsnu,
                      figures["darkTemporalVariance"].toDouble(), d.temporal);
                QVERIFY2(agree(figures["dsnu"], dsnu, kDsnuAgree), qPrintable(describe(figures["dsnu"], dsnu)));
                if (std::isfinite(dsnu)) worstDsnu = std::max(worstDsnu, std::abs(dsnu - own.dsnu));

                // PRNU at each level, against the dark of that level's exposure.
                const QJsonArray levels = figures["levels"].toArray();
                QCOMPARE(levels.size(), 3);
                for (int i = 0; i < levels.size(); ++i) {
                    const QJsonObject lf = levels[i].toObject();
                    const double target = lf["targetPercent"].toDouble();
                    const QJsonObject bs = stackOf(brightStage, target), ds = stackOf(darkStage, target);
                    QVERIFY(!bs.isEmpty() && !ds.isEmpty());
                    QCOMPARE(bs["exposureUs"].toDouble(), lf["exposureUs"].toDouble());
                    QCOMPARE(ds["exposureUs"].toDouble(), lf["exposureUs"].toDouble());
                    const QJsonObject bp = bs["planes"].toArray()[p].toObject();
                    const Stack bright = loadStack(folder + '/' + bp["file"].toString(), bs["toDn10"].toDouble());
                    QList<Stack> levelLifts;
                    int levelSteps = 1;
                    const Stack levelDark = darkOf(folder, ds["planes"].toArray()[p].toObject(),
                                                   ds["toDn10"].toDouble(), levelLifts, levelSteps);
                    QVERIFY(!bright.empty() && !levelDark.empty());
                    fewest = std::min({fewest, int(bright.size()), int(levelDark.size())});
                    QCOMPARE(int(bright.front().size()), kWidth);
                    for (const Stack& l : levelLifts) QVERIFY(worstColumnAtZero(l) < 0.01);
                    const Moments b = momentsOf(bright), ld = momentsOf(levelDark, levelSteps);
                    const double p1288 = prnu1288(ld, b), pResponse = prnuOfResponse(ld, b);
                    qInfo("  at %.0f %%: PRNU1288 %.5f / %.5f %%, response row %.5f / %.5f %%", target,
                          lf["prnu1288"].toDouble(), p1288, lf["prnuResponse"].toDouble(), pResponse);
                    QVERIFY2(agree(lf["prnu1288"], p1288, kPrnuAgree), qPrintable(describe(lf["prnu1288"], p1288)));
                    QVERIFY2(agree(lf["prnuResponse"], pResponse, kPrnuAgree),
                             qPrintable(describe(lf["prnuResponse"], pResponse)));
                    // The judged one: the larger, or none without the response row's.
                    const double judged = std::isnan(pResponse) ? kNan
                                          : std::isnan(p1288)   ? pResponse
                                                                : std::max(p1288, pResponse);
                    QVERIFY2(agree(lf["prnu"], judged, kPrnuAgree), qPrintable(describe(lf["prnu"], judged)));
                    if (std::isfinite(p1288))
                        worstPrnu = std::max(worstPrnu, std::abs(p1288 - lf["prnu1288"].toDouble()));
                    if (std::isfinite(pResponse))
                        worstPrnu = std::max(worstPrnu, std::abs(pResponse - lf["prnuResponse"].toDouble()));
                }
            }
        }
        QCOMPARE(fewest, r.lines);
        QCOMPARE(report["settings"].toObject()["linesPerStack"].toInt(), r.lines);
        qInfo("%s: largest difference DSNU %.2g DN10, PRNU %.2g %%", qPrintable(name), worstDsnu, worstPrnu);
    }

    // Without the setting nothing is kept, and the key is written empty for the station to see.
    void keptOnlyWhenAsked()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        auto s = openServer(name);
        QList<Report> reports;
        const VerifyReport r = verifyAnswered(s.get(), name, &reports);
        QVERIFY2(!r.planes.isEmpty(), qPrintable(textsOf(reports).join(QLatin1Char('|'))));
        QSettings ini(fpnIniPath(), QSettings::IniFormat);
        QVERIFY(ini.contains(VerifyIni::StackFolder));
        QCOMPARE(ini.value(VerifyIni::StackFolder).toString(), QString());
        for (const QString& text : textsOf(reports))
            QVERIFY2(!text.contains(QStringLiteral("原始图像栈")), qPrintable(text));
    }

    // A folder named relative to the document folder is made there, with its parents.
    void aRelativeFolderIsInTheDocumentFolder()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        store(VerifyIni::StackFolder, QStringLiteral("stacks/verify"));
        auto s = openServer(name);
        QList<Report> reports;
        const VerifyReport r = verifyAnswered(s.get(), name, &reports);
        QVERIFY2(!r.planes.isEmpty(), qPrintable(textsOf(reports).join(QLatin1Char('|'))));
        const QStringList folders = runFolders(documentDir() + QStringLiteral("/stacks/verify"));
        QCOMPARE(folders.size(), 1);
        QVERIFY(QFileInfo(folders.first()).fileName().startsWith(QStringLiteral("SIM-LS4096-M-")));
        QFile file(folders.first() + QStringLiteral("/stacks.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QJsonObject index = QJsonDocument::fromJson(file.readAll()).object();
        QCOMPARE(index["finished"].toBool(), true);
        // The working dark and the level's two bright stacks and dark, both ways.
        QCOMPARE(index["stacks"].toArray().size(), 2 + 4);
        QCOMPARE(index["report"].toObject()["planes"].toArray().size(), 1);
    }

    // A folder that cannot be made (a file stands in its path) is said with its path and cause;
    // the verification measures as without it.
    void aFolderThatCannotBeMadeIsSaid()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        const QString blocker = m_stacks.path() + QStringLiteral("/a-file");
        QFile f(blocker);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.close();
        store(VerifyIni::StackFolder, blocker + QStringLiteral("/stacks"));
        auto s = openServer(name);
        QList<Report> reports;
        const VerifyReport r = verifyAnswered(s.get(), name, &reports);
        QVERIFY2(!r.planes.isEmpty(), qPrintable(textsOf(reports).join(QLatin1Char('|'))));
        QCOMPARE(failures(reports), 0);
        QCOMPARE(reports.last().first, 100);
        const QRegularExpression said(
            QStringLiteral("^校正验证-无法创建原始图像栈的文件夹 %1：.+。图像栈不保存，测量照常进行。$")
                .arg(QRegularExpression::escape(blocker + QStringLiteral("/stacks"))));
        QCOMPARE(textsOf(reports).filter(said).size(), 1);
        qInfo("%s", qPrintable(textsOf(reports).filter(said).first()));
    }

    // A stack that cannot be written (the run's folder taken away once made) is said with its path
    // and cause, nothing more is kept, the index cannot be written either and says so; the
    // verification ends as without it.
    void aFailedWriteIsSaidAndTheRunGoesOn()
    {
        const QString name = QStringLiteral("SIM-LS4096-M");
        const QString root = m_stacks.path() + QStringLiteral("/lost");
        store(VerifyIni::StackFolder, root);
        auto s = openServer(name);
        const QRegularExpression kept(QStringLiteral("^校正验证-原始图像栈保存在 (.+)。$"));
        QString folder;
        const QMetaObject::Connection c = connect(
            s.get(), &CameraServer::OS_FpnInfo, this,
            [&](int, const QString& text) {
                const QRegularExpressionMatch m = kept.match(text);
                if (!m.hasMatch()) return;
                folder = m.captured(1);
                // A file where the folder was.
                QDir(folder).removeRecursively();
                QFile file(folder);
                if (file.open(QIODevice::WriteOnly)) file.close();
            },
            Qt::DirectConnection);
        QList<Report> reports;
        const VerifyReport r = verifyAnswered(s.get(), name, &reports);
        disconnect(c);
        QVERIFY2(!r.planes.isEmpty(), qPrintable(textsOf(reports).join(QLatin1Char('|'))));
        QVERIFY(!folder.isEmpty());
        QVERIFY(QFileInfo(folder).isFile());
        QCOMPARE(failures(reports), 0);
        QCOMPARE(reports.last().first, 100);
        const QStringList texts = textsOf(reports);
        const QRegularExpression stackFailed(
            QStringLiteral("^校正验证-保存原始图像栈 %1 出错：.+。此后的图像栈不再保存，测量照常进行。$")
                .arg(QRegularExpression::escape(folder + QStringLiteral("/01-brightBefore-50pct-mono.png"))));
        const QRegularExpression indexFailed(
            QStringLiteral("^校正验证-保存原始图像栈的索引 %1 出错：.+。$")
                .arg(QRegularExpression::escape(folder + QStringLiteral("/stacks.json"))));
        QCOMPARE(texts.filter(stackFailed).size(), 1);
        QCOMPARE(texts.filter(indexFailed).size(), 1);
        QCOMPARE(texts.filter(QStringLiteral("原始图像栈")).size(), 3);
        qInfo("%s", qPrintable(texts.filter(stackFailed).first()));
    }
};

QTEST_GUILESS_MAIN(TestVerifyRawStacks)
#include "test_verify_rawstacks.moc"
