#pragma once
// The session log: every report of every procedure, the operator's answers, the messages shown
// and the files written, each with its time. Each entry is appended at once to the day's file in
// the document folder ("<document folder>/logs/lsxcalib_yyyy-MM-dd.log", UTF-8, one line per
// entry), so that a crash loses nothing; the entries of this run can be exported to any file.
// SessionLogWindow shows them as they come.

#include <QDate>
#include <QDateTime>
#include <QFile>
#include <QList>
#include <QObject>
#include <QString>
#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;

struct SessionEntry {
    QDateTime when;
    QString source;     // the procedure or the part of the window that speaks
    int progress = -1;  // a procedure's report: its progress (0 to 101); otherwise -1
    QString text;
};

class SessionLog : public QObject {
    Q_OBJECT
public:
    // The day files go into `folder`, made when the first entry is written.
    explicit SessionLog(const QString& folder, QObject* parent = nullptr);

    // Appends an entry of now to the list and to the day's file.
    void append(const QString& source, const QString& text, int progress = -1);
    // The same with a time of the caller's.
    void append(const SessionEntry& entry);

    const QList<SessionEntry>& entries() const { return m_entries; }
    QString folder() const { return m_folder; }
    // The file of a day's entries.
    QString dayFile(const QDate& day) const;
    // The text of one entry as it stands in the files: "hh:mm:ss.zzz  [source] 45%  text", the
    // lines of a text of several lines indented below the first.
    static QString line(const SessionEntry& entry);
    // Writes this run's entries, each with its date, to `path` as a whole (or leaves an earlier
    // file there as it was); false with the reason in `error`.
    bool exportTo(const QString& path, QString* error) const;

signals:
    void entryAdded(const SessionEntry& entry);
    // The day's file could not be written: told once per file.
    void writeFailed(const QString& text);

private:
    void writeToDayFile(const SessionEntry& entry);
    void tellWriteFailure();

    QString m_folder;
    QList<SessionEntry> m_entries;
    QFile m_file;
    QDate m_fileDay;
    QString m_failedFile;
};

class SessionLogWindow : public QWidget {
    Q_OBJECT
public:
    explicit SessionLogWindow(SessionLog* log, QWidget* parent = nullptr);

    QPlainTextEdit* textEdit() const { return m_text; }
    QPushButton* exportBut() const { return m_exportBut; }

public slots:
    // "导出": asks for a file and writes the entries there; the box names the file written.
    void exportAs();
    // The same without the dialog; false with a box titled "错误".
    bool exportTo(const QString& path);

private:
    void add(const SessionEntry& entry);

    SessionLog* m_log = nullptr;
    QLabel* m_fileLabel = nullptr;
    QPlainTextEdit* m_text = nullptr;
    QPushButton* m_exportBut = nullptr;
};
