#pragma once
// The window of fixed help text: basic use of the window, FPN calibration, FFC and LSC.
// Nothing shows it at start-up; it opens only from the "帮助" button.
#include <QWidget>

namespace Ui {
class HelpDialog;
}

class HelpDialog : public QWidget {
    Q_OBJECT
public:
    explicit HelpDialog(QWidget* parent = nullptr);
    ~HelpDialog() override;

public slots:
    // "下次不再显示": remembers the choice in FPN.ini, tells the operator where help stays
    // available, and closes.
    void stopShowAgain();

private:
    Ui::HelpDialog* ui = nullptr;
};
