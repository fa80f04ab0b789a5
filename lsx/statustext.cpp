#include "statustext.h"

#include <QCoreApplication>

#include <algorithm>
#include <iterator>

namespace {

struct StatusEntry {
    lsxStatus code;
    const char* text;
};

// Sorted by code, so that a lookup is a binary search. The texts are the Chinese source texts of
// the translation context "StatusText"; statusText gives them in the language installed.
const StatusEntry kStatusTable[] = {
    {-1611, QT_TRANSLATE_NOOP("StatusText", "ROI功能不支持")},
    {-1610, QT_TRANSLATE_NOOP("StatusText", "设置的ROI参数无效")},
    {-1607, QT_TRANSLATE_NOOP("StatusText", "数据采集正在重启")},
    {-1606, QT_TRANSLATE_NOOP("StatusText", "数据采集已经停止")},
    {-1605, QT_TRANSLATE_NOOP("StatusText", "数据采集已经启动")},
    {-1604, QT_TRANSLATE_NOOP("StatusText", "数据采集功能已经关闭")},
    {-1603, QT_TRANSLATE_NOOP("StatusText", "数据采集功能已经打开")},
    {-1602, QT_TRANSLATE_NOOP("StatusText", "未接收到帧结束符")},
    {-1601, QT_TRANSLATE_NOOP("StatusText", "数据丢失，不完整")},
    {-1600, QT_TRANSLATE_NOOP("StatusText", "数据采集失败，指定的时间内未获得数据")},
    {-1305, QT_TRANSLATE_NOOP("StatusText", "读取数据较检失败")},
    {-1304, QT_TRANSLATE_NOOP("StatusText", "打开文件失败")},
    {-1303, QT_TRANSLATE_NOOP("StatusText", "写入文件失败")},
    {-1302, QT_TRANSLATE_NOOP("StatusText", "读取文件失败")},
    {-1301, QT_TRANSLATE_NOOP("StatusText", "文件格式无效")},
    {-1300, QT_TRANSLATE_NOOP("StatusText", "创建文件失败")},
    {-1202, QT_TRANSLATE_NOOP("StatusText", "写保护，不可写")},
    {-1201, QT_TRANSLATE_NOOP("StatusText", "存储器读写出现误码或无法正常读写")},
    {-1200, QT_TRANSLATE_NOOP("StatusText", "没有足够系统内存")},
    {-1107, QT_TRANSLATE_NOOP("StatusText", "设备已经被停止")},
    {-1106, QT_TRANSLATE_NOOP("StatusText", "设备已经被启动")},
    {-1105, QT_TRANSLATE_NOOP("StatusText", "设备已经被其他主机打开")},
    {-1104, QT_TRANSLATE_NOOP("StatusText", "设备已经断开连接")},
    {-1103, QT_TRANSLATE_NOOP("StatusText", "设备已经关闭")},
    {-1102, QT_TRANSLATE_NOOP("StatusText", "设备已经打开")},
    {-1101, QT_TRANSLATE_NOOP("StatusText", "未找到逻辑设备")},
    {-1100, QT_TRANSLATE_NOOP("StatusText", "没有发现设备")},
    {-1090, QT_TRANSLATE_NOOP("StatusText", "传输层错误")},
    {-1080, QT_TRANSLATE_NOOP("StatusText", "链路层错误")},
    {-1070, QT_TRANSLATE_NOOP("StatusText", "物理层错误")},
    {-1060, QT_TRANSLATE_NOOP("StatusText", "PCI总线错误")},
    {-1050, QT_TRANSLATE_NOOP("StatusText", "USB总线错误")},
    {-1040, QT_TRANSLATE_NOOP("StatusText", "GPIO总线错误")},
    {-1030, QT_TRANSLATE_NOOP("StatusText", "UART总线错误")},
    {-1020, QT_TRANSLATE_NOOP("StatusText", "SPI总线错误")},
    {-1012, QT_TRANSLATE_NOOP("StatusText", "I2C等待总线动作超时，例如SCL被外部器件拉为低电平")},
    {-1011, QT_TRANSLATE_NOOP("StatusText", "I2C等待应答超时")},
    {-1010, QT_TRANSLATE_NOOP("StatusText", "I2C总线错误")},
    {-1005, QT_TRANSLATE_NOOP("StatusText", "内容无效")},
    {-1004, QT_TRANSLATE_NOOP("StatusText", "格式错误")},
    {-1003, QT_TRANSLATE_NOOP("StatusText", "总线错误")},
    {-1002, QT_TRANSLATE_NOOP("StatusText", "通讯错误")},
    {-1001, QT_TRANSLATE_NOOP("StatusText", "硬件IO错误")},
    {-1000, QT_TRANSLATE_NOOP("StatusText", "超时错误")},
    {-55, QT_TRANSLATE_NOOP("StatusText", "不能识别的数据")},
    {-54, QT_TRANSLATE_NOOP("StatusText", "只读，不可写")},
    {-53, QT_TRANSLATE_NOOP("StatusText", "使用不当")},
    {-52, QT_TRANSLATE_NOOP("StatusText", "业务ID无效或不匹配")},
    {-51, QT_TRANSLATE_NOOP("StatusText", "不可用")},
    {-50, QT_TRANSLATE_NOOP("StatusText", "检查，校验失败")},
    {-44, QT_TRANSLATE_NOOP("StatusText", "数据量不够")},
    {-43, QT_TRANSLATE_NOOP("StatusText", "数据量过载")},
    {-42, QT_TRANSLATE_NOOP("StatusText", "数据块大小无效")},
    {-41, QT_TRANSLATE_NOOP("StatusText", "地址无效")},
    {-40, QT_TRANSLATE_NOOP("StatusText", "偏移或地址未对齐")},
    {-31, QT_TRANSLATE_NOOP("StatusText", "操作被拒绝")},
    {-30, QT_TRANSLATE_NOOP("StatusText", "在自动进行中，手动方式无效")},
    {-29, QT_TRANSLATE_NOOP("StatusText", "功能无效")},
    {-28, QT_TRANSLATE_NOOP("StatusText", "被限制")},
    {-22, QT_TRANSLATE_NOOP("StatusText", "错误的赋值")},
    {-21, QT_TRANSLATE_NOOP("StatusText", "错误的名称")},
    {-20, QT_TRANSLATE_NOOP("StatusText", "错误的描述")},
    {-13, QT_TRANSLATE_NOOP("StatusText", "无效句柄（空句柄或野句柄），通常是相机未打开所致")},
    {-12, QT_TRANSLATE_NOOP("StatusText", "未准备好")},
    {-11, QT_TRANSLATE_NOOP("StatusText", "未停止")},
    {-10, QT_TRANSLATE_NOOP("StatusText", "未启动")},
    {-9, QT_TRANSLATE_NOOP("StatusText", "设备没打开")},
    {-8, QT_TRANSLATE_NOOP("StatusText", "功能无效")},
    {-7, QT_TRANSLATE_NOOP("StatusText", "未连接到设备")},
    {-6, QT_TRANSLATE_NOOP("StatusText", "特性未打开")},
    {-5, QT_TRANSLATE_NOOP("StatusText", "参数越界")},
    {-4, QT_TRANSLATE_NOOP("StatusText", "参数无效")},
    {-3, QT_TRANSLATE_NOOP("StatusText", "初始化未完成")},
    {-2, QT_TRANSLATE_NOOP("StatusText", "不支持该功能")},
    {-1, QT_TRANSLATE_NOOP("StatusText", "未知错误")},
    {0, QT_TRANSLATE_NOOP("StatusText", "操作失败")},
    {1, QT_TRANSLATE_NOOP("StatusText", "操作成功")},
    {2, QT_TRANSLATE_NOOP("StatusText", "正在进行，已经被操作过")},
    {3, QT_TRANSLATE_NOOP("StatusText", "需要等待，可以再次尝试")},
    {4, QT_TRANSLATE_NOOP("StatusText", "正忙，此次操作不能进行")},
    {5, QT_TRANSLATE_NOOP("StatusText", "还须进行下一阶段，只完成了部分动作")},
    {6, QT_TRANSLATE_NOOP("StatusText", "需要其他数据和操作")},
    {7, QT_TRANSLATE_NOOP("StatusText", "操作忽略掉了，不须要任何动作")},
};

}  // namespace

QString statusText(lsxStatus status)
{
    auto it = std::lower_bound(std::begin(kStatusTable), std::end(kStatusTable), status,
                               [](const StatusEntry& e, lsxStatus s) { return e.code < s; });
    if (it == std::end(kStatusTable) || it->code != status) return QString();
    return QCoreApplication::translate("StatusText", it->text);
}
