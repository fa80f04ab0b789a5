#pragma once
// The panel through which every long procedure talks to the operator: a progress bar, a log
// of messages and the two answer buttons "确定" and "取消".
//
// Protocol of showProgressInfo, as the procedures report on OS_FpnInfo:
//   0          clears the log and re-arms the panel (only "取消" on show);
//   1..99      moves the bar and logs the message;
//   100        finished: "确定" appears and answers with defined();
//   above 100  failed: a red "错误:" line, the bar at 100, and "确定" answers with canceled().
// An empty message stops the report after the clearing of step 0, so the bar does not move.
#include <QWidget>

namespace Ui {
class ProgressInfoWidget;
}

class ProgressInfoWidget : public QWidget {
    Q_OBJECT
public:
    explicit ProgressInfoWidget(QWidget* parent = nullptr);
    ~ProgressInfoWidget() override;

    // Writing to the camera must not be interrupted: the workflows switch "取消" off meanwhile.
    void setCancelEnabled(bool enabled);

signals:
    void defined();
    void canceled();

public slots:
    void showProgressInfo(int progress, QString info);

private:
    Ui::ProgressInfoWidget* ui = nullptr;
};
