#include "helpdialog.h"
#include "ui_helpdialog.h"

#include "style.h"

#include "camera/tables.h"
#include "language.h"

#include <QFile>
#include <QMessageBox>
#include <QScrollBar>
#include <QSettings>
#include <QTextBrowser>
#include <QTimer>

namespace {

// A help document in the interface language: the English twin (help/en/) when English is on.
QString helpText(const QString& resource)
{
    QFile file(currentLanguage() == UiLanguage::English
                   ? QString(resource).replace(QLatin1String(":/help/"), QLatin1String(":/help/en/"))
                   : resource);
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
    ui->textBrowser_4->setHtml(helpText(QStringLiteral(":/help/verify.html")));
    ui->textBrowser_5->setHtml(helpText(QStringLiteral(":/help/tools.html")));
    ui->textBrowser_6->setHtml(helpText(QStringLiteral(":/help/simulator.html")));

    connect(ui->stopBut, &QPushButton::clicked, this, &HelpDialog::stopShowAgain);

    QSettings settings(fpnIniPath(), QSettings::IniFormat);
    const bool stopShow = settings.value(FpnIni::StopShowHelp, FpnIni::StopShowHelpDefault).toBool();
    ui->stopWidget->setVisible(!stopShow);
}

HelpDialog::~HelpDialog()
{
    delete ui;
}

void HelpDialog::showTopic(HelpTopic topic)
{
    struct Place {
        QTextBrowser* browser;
        const char* anchor;  // empty: the top of the page
    };
    Place place{ui->textBrowser, ""};
    switch (topic) {
    case HelpTopic::Basic: break;
    case HelpTopic::Fpn: place = {ui->textBrowser_2, ""}; break;
    case HelpTopic::Ffc: place = {ui->textBrowser_3, ""}; break;
    case HelpTopic::Lsc: place = {ui->textBrowser_3, "lsc"}; break;
    case HelpTopic::Scs: place = {ui->textBrowser_3, "scs"}; break;
    case HelpTopic::Verify: place = {ui->textBrowser_4, ""}; break;
    case HelpTopic::Tools: place = {ui->textBrowser_5, ""}; break;
    case HelpTopic::Simulator: place = {ui->textBrowser_6, ""}; break;
    case HelpTopic::Runner: place = {ui->textBrowser_6, "runner"}; break;
    }
    for (int i = 0; i < ui->helpTabWidget->count(); ++i)
        if (ui->helpTabWidget->widget(i)->isAncestorOf(place.browser)) ui->helpTabWidget->setCurrentIndex(i);
    // Once the page is laid out: a page just turned to has no scroll range yet.
    QTextBrowser* browser = place.browser;
    const QString anchor = QString::fromLatin1(place.anchor);
    QTimer::singleShot(0, browser, [browser, anchor] {
        if (anchor.isEmpty())
            browser->verticalScrollBar()->setValue(0);
        else
            browser->scrollToAnchor(anchor);
    });
}

int HelpDialog::currentPage() const
{
    return ui->helpTabWidget->currentIndex();
}

void HelpDialog::stopShowAgain()
{
    {
        QSettings settings(fpnIniPath(), QSettings::IniFormat);
        settings.setValue(FpnIni::StopShowHelp, true);
        settings.sync();
    }
    QMessageBox::information(this, tr("提示信息"),
                             tr("已设置启动不显示帮助信息，后续可点击界面左上部分的帮助按钮查看。"));
    ui->stopWidget->hide();
    close();
}
