#include "helpdialog.h"
#include "ui_helpdialog.h"

#include "style.h"

#include "camera/tables.h"

#include <QFile>
#include <QMessageBox>
#include <QSettings>
#include <QTextBrowser>

namespace {

QString helpText(const QString& resource)
{
    QFile file(resource);
    if (!file.open(QFile::ReadOnly)) return QString();
    return QString::fromUtf8(file.readAll());
}

}  // namespace

HelpDialog::HelpDialog(QWidget* parent) : QWidget(parent), ui(new Ui::HelpDialog)
{
    ensureResources();
    ui->setupUi(this);
    ui->textBrowser->setHtml(helpText(QStringLiteral(":/help/basic.html")));
    ui->textBrowser_2->setHtml(helpText(QStringLiteral(":/help/fpn.html")));
    ui->textBrowser_3->setHtml(helpText(QStringLiteral(":/help/ffc.html")));

    connect(ui->stopBut, &QPushButton::clicked, this, &HelpDialog::stopShowAgain);

    QSettings settings(fpnIniPath(), QSettings::IniFormat);
    const bool stopShow = settings.value(FpnIni::StopShowHelp, FpnIni::StopShowHelpDefault).toBool();
    ui->stopWidget->setVisible(!stopShow);
}

HelpDialog::~HelpDialog()
{
    delete ui;
}

void HelpDialog::stopShowAgain()
{
    {
        QSettings settings(fpnIniPath(), QSettings::IniFormat);
        settings.setValue(FpnIni::StopShowHelp, true);
        settings.sync();
    }
    QMessageBox::information(this, QStringLiteral("提示信息"),
                             QStringLiteral("已设置启动不显示帮助信息，后续可点击界面左上部分的帮助按钮查看。"));
    ui->stopWidget->hide();
    close();
}
