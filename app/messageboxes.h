#pragma once
// Every message box of the program, as it comes up: made wide enough for its longest line (a
// file path has no place to break, and a box of the default width cut it off), its text
// selectable so that a path can be copied, and told to whoever keeps the session log.

#include <QObject>
#include <QString>

class QMessageBox;

class MessageBoxWatcher : public QObject {
    Q_OBJECT
public:
    // Watches the whole application while it lives.
    explicit MessageBoxWatcher(QObject* parent = nullptr);
    ~MessageBoxWatcher() override;

    // The width the box's text needs on one line per paragraph, up to the screen's width.
    static void widen(QMessageBox* box);

signals:
    void boxShown(const QString& title, const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};
