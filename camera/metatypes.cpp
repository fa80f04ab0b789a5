#include "metatypes.h"

#include "cameraserver.h"

#include <QList>
#include <QMetaType>
#include <QRgb>
#include <QVector>

void registerMetaTypes()
{
    qRegisterMetaType<unsigned int>("lsxHandle");
    qRegisterMetaType<unsigned int>("QRgb");
    qRegisterMetaType<lsxStatus>("lsxStatus");
    qRegisterMetaType<cv::Mat>("cv::Mat");
    qRegisterMetaType<QList<cv::Mat>>("QList<cv::Mat>");
    qRegisterMetaType<QVector<double>>("QVector<double>");
    qRegisterMetaType<QList<QList<double>>>("QList<QList<double>>");
}
