#pragma once
// The window of fixed help text, one page per document: basic use of the window, FPN
// calibration, FFC, LSC and SCS, the verification, the image tools and the session log, the
// simulated camera's scene and the command-line runner. Nothing shows it at start-up; it opens
// from the "帮助" button, and with F1 at the page of what the operator is doing.
#include <QWidget>

// A place in the help: a page, and on the flat-field page the part of one tool.
enum class HelpTopic { Basic, Fpn, Ffc, Lsc, Scs, Verify, Tools, Simulator, Runner };

namespace Ui {
class HelpDialog;
}

class HelpDialog : public QWidget {
    Q_OBJECT
public:
    explicit HelpDialog(QWidget* parent = nullptr);
    ~HelpDialog() override;

    // Turns to the page of `topic` and scrolls to its part.
    void showTopic(HelpTopic topic);
    // The page shown now: 0 basic use, 1 FPN, 2 FFC/LSC/SCS, 3 verification, 4 tools and log,
    // 5 simulated camera and runner.
    int currentPage() const;

public slots:
    // "下次不再显示": remembers the choice in FPN.ini, tells the operator where help stays
    // available, and closes.
    void stopShowAgain();

private:
    Ui::HelpDialog* ui = nullptr;
};
