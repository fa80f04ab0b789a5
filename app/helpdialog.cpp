#include "helpdialog.h"
#include "ui_helpdialog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QProcessEnvironment>
#include <QSettings>
#include <QTextBrowser>

namespace {

// FPN.ini lives in the document directory: TELORINE_DOCUMENT_PATH/FPN when that folder can be
// made, the variable as it stands when it can't, the application's folder when it is unset.
QString settingsPath()
{
    QString dir = QProcessEnvironment::systemEnvironment().value(QStringLiteral("TELORINE_DOCUMENT_PATH"));
    if (dir.isEmpty()) {
        dir = QCoreApplication::applicationDirPath();
    } else {
        QDir base(dir);
        if (base.exists(QStringLiteral("FPN")) || base.mkdir(QStringLiteral("FPN")))
            dir += QStringLiteral("/FPN");
    }
    return dir + QStringLiteral("/FPN.ini");
}

QString helpText(const QString& resource)
{
    QFile file(resource);
    if (!file.open(QFile::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

} // namespace

HelpDialog::HelpDialog(QWidget* parent) : QWidget(parent), ui(new Ui::HelpDialog)
{
    ui->setupUi(this);
    ui->textBrowser->setHtml(helpText(QStringLiteral(":/help/basic.html")));
    ui->textBrowser_2->setHtml(helpText(QStringLiteral(":/help/fpn.html")));
    ui->textBrowser_3->setHtml(helpText(QStringLiteral(":/help/ffc.html")));

    connect(ui->stopBut, &QPushButton::clicked, this, &HelpDialog::stopShowAgain);

    QSettings settings(settingsPath(), QSettings::IniFormat);
    const bool stopShow = settings.value(QStringLiteral("Params/StopShowHelp"), true).toBool();
    ui->stopWidget->setVisible(!stopShow);
}

HelpDialog::~HelpDialog()
{
    delete ui;
}

void HelpDialog::stopShowAgain()
{
    {
        QSettings settings(settingsPath(), QSettings::IniFormat);
        settings.setValue(QStringLiteral("Params/StopShowHelp"), true);
        settings.sync();
    }
    QMessageBox::information(this, QStringLiteral("提示信息"),
                             QStringLiteral("已设置启动不显示帮助信息，后续可点击界面左上部分的帮助按钮查看。"));
    ui->stopWidget->hide();
    close();
}
