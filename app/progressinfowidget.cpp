#include "progressinfowidget.h"
#include "ui_progressinfowidget.h"

#include "style.h"

#include <QTextCursor>

ProgressInfoWidget::ProgressInfoWidget(QWidget* parent)
    // A window of its own, with a title and a system menu but no close button: the only way
    // out of a running procedure is one of the two answer buttons.
    : QWidget(parent, Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowFullscreenButtonHint),
      ui(new Ui::ProgressInfoWidget)
{
    ensureResources();
    ui->setupUi(this);
    setWindowModality(Qt::WindowModal);

    connect(ui->defineBut, &QPushButton::clicked, this, &ProgressInfoWidget::defined);
    connect(ui->cancelBut, &QPushButton::clicked, this, &ProgressInfoWidget::canceled);
}

ProgressInfoWidget::~ProgressInfoWidget()
{
    delete ui;
}

void ProgressInfoWidget::setCancelEnabled(bool enabled)
{
    ui->cancelBut->setEnabled(enabled);
}

void ProgressInfoWidget::showProgressInfo(int progress, QString info)
{
    if (progress == 0) {
        ui->contentEdit->clear();
        ui->cancelBut->show();
        ui->defineBut->hide();
    }
    if (info.isEmpty()) return;

    int value = progress;
    if (progress == 100) {
        // Finished: "确定" answers with defined() again. The connection is added on every
        // report of 100, beside the one made at construction; the workflows' answer slots
        // disconnect themselves on the first emission, so the further ones find no receiver.
        disconnect(ui->defineBut, &QPushButton::clicked, this, &ProgressInfoWidget::canceled);
        connect(ui->defineBut, &QPushButton::clicked, this, &ProgressInfoWidget::defined);
    }
    if (progress <= 100) {
        ui->contentEdit->setTextColor(Qt::white);
        ui->contentEdit->append(info);
    } else {
        ui->contentEdit->setTextColor(Qt::red);
        ui->contentEdit->append(tr("\n错误:%1").arg(info));
        value = 100;
        // After a failure "确定" must not run the Ok path: it acts as a cancel until the next
        // report of 100. Clearing the panel with 0 does not restore it.
        disconnect(ui->defineBut, &QPushButton::clicked, this, &ProgressInfoWidget::defined);
        connect(ui->defineBut, &QPushButton::clicked, this, &ProgressInfoWidget::canceled);
    }

    ui->contentEdit->moveCursor(QTextCursor::End);
    if (value == 100) ui->defineBut->show();
    ui->progressBar->setValue(value);
}
