#pragma once
// The verification's raw stacks kept for a second look (setting Verify/StackFolder): every stack
// the run grabs, as grabbed, one single-channel lossless PNG per plane (8-bit samples as 8-bit,
// 16-bit ones as 16-bit), and an index, stacks.json, that says what each file is (stage, level,
// exposure, plane, bits, the factor to DN10, a dark's black-level lifts) and holds the report's
// own figures, so that a program of its own can recompute them from the files alone. Each run
// gets a folder of its own under the one set, so that no run overwrites another's. A file that
// cannot be written is said with its path and cause; the measurement goes on without the keeping.
//
// The index: "camera", "date", "blackLevelAsFound", "finished" (the run reached its figures),
// "allWritten", "report" (verifyReportJson; null when not finished) and "stacks", in the order
// grabbed, each with "stage" (brightBefore, brightAfter, darkBefore, darkAfter: corrections off or
// as found), "levelPercent" (null for the dark at the working exposure, which gives DSNU),
// "exposureUs", "bits" (8 or 16), "toDn10" (the factor from a sample to DN10), "fullScale" (in
// samples) and "planes": per plane its key and name ("plane", "name"), "file", "lines" and
// "columns"; a dark's "file" is the stack at the black level as found, "measured" says what its
// figures come from ("asFound", "extrapolated" or "notMeasurable"), and "lifted" lists every
// lifted stack taken ("lift" steps above the level as found, "ditherSteps" steps of "rowsPerStep"
// rows each, its "worstColumnZeroShare", and "use": "first" and "second" for the two the dark was
// extrapolated from, "none" for a lift still too near 0).
#include "calibration/verifystages.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonValue>
#include <QString>

#include <functional>

namespace verify {

// The stages as the index names them.
inline const QString kBrightBefore = QStringLiteral("brightBefore");
inline const QString kBrightAfter = QStringLiteral("brightAfter");
inline const QString kDarkBefore = QStringLiteral("darkBefore");
inline const QString kDarkAfter = QStringLiteral("darkAfter");
// The index file in the run's folder.
inline const QString kStackIndex = QStringLiteral("stacks.json");

class StackFolder {
public:
    // How a failure is told: its text, and the progress to show it at.
    using Say = std::function<void(int progress, const QString& text)>;

    explicit StackFolder(Say say) : m_say(std::move(say)) {}
    // The index, when the run left without finish(): a stack kept is never left without it.
    ~StackFolder();
    StackFolder(const StackFolder&) = delete;
    StackFolder& operator=(const StackFolder&) = delete;

    // A folder for this run under `root` (a path relative to the document folder is taken there),
    // named by the camera and the time and made with its parents; nothing for an empty `root`.
    // False, said, when it cannot be made: the keeping stays off.
    bool open(const QString& root, const QString& camera, const QDateTime& when, int doffset, int progress);
    bool on() const { return m_on; }
    QString path() const { return m_path; }

    // A bright stack of every plane at level `target` (per cent of saturation).
    void keepBright(const QString& stage, double target, double exposure, const StackGrab& g, int progress);
    // A dark of every plane: the stack as found and every lifted part. `target` 0 for the dark at
    // the working exposure (DSNU), else the level whose PRNU it belongs to.
    void keepDark(const QString& stage, double target, double exposure, const DarkGrab& g, int progress);

    // Writes the index with `report` (the report's JSON; null when the run ended without figures).
    // Once; later calls do nothing.
    void finish(const QJsonValue& report);

private:
    // The file name written, or an empty text when the keeping failed (and was said).
    QString write(const QString& name, const cv::Mat& plane);
    QJsonObject stackEntry(const QString& stage, double target, double exposure, int bits) const;
    void fail(const QString& text);

    Say m_say;
    bool m_on = false;
    bool m_finished = false;
    bool m_allWritten = true;
    int m_progress = 1;
    int m_doffset = 0;
    int m_count = 0;
    QString m_path;
    QString m_camera;
    QDateTime m_when;
    QJsonArray m_stacks;
};

}  // namespace verify
