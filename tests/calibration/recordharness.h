#pragma once
// What the procedure tests on the recording camera share: the library bound once, a fresh FPN.ini
// for every test, a server set up as an open line-scan camera leaves it, the call lists, and frame
// makers. The procedures are called directly on the test's thread (the worker is idle), so their
// reports arrive in order on a plain QSignalSpy.
#include "calibration/recordcam.h"
#include "calibration/reports.h"

#include "camera/cameraserver.h"
#include "camera/tables.h"
#include "loader.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <dlfcn.h>

#include <functional>
#include <memory>

inline QStringList toList(const std::vector<std::string>& calls)
{
    QStringList out;
    for (const std::string& c : calls) out.append(QString::fromStdString(c));
    return out;
}

// A frame maker: mono frames of the ROI's size with the raw value value(camera, x, y), clipped to
// the sample's range.
using FrameMaker = std::function<lsxStatus(RecordCam&, lsxFrame&, std::vector<uint8_t>&)>;
inline FrameMaker cameraFrames(int bits, std::function<int(const RecordCam&, int x, int y)> value)
{
    return [bits, value](RecordCam& c, lsxFrame& f, std::vector<uint8_t>& buffer) {
        const int w = c.roi.W, h = c.roi.H, bpp = bits == LSX_BITS_16 ? 2 : 1;
        const int top = bpp == 2 ? 65535 : 255;
        buffer.assign(size_t(w) * h * bpp, 0);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const int v = std::clamp(value(c, x, y), 0, top);
                if (bpp == 2)
                    reinterpret_cast<uint16_t*>(buffer.data())[size_t(y) * w + x] = uint16_t(v);
                else
                    buffer[size_t(y) * w + x] = uint8_t(v);
            }
        f.format = FORMAT_MONO;
        f.bits = uint32_t(bits);
        f.channels = 1;
        f.width = w;
        f.height = h;
        f.size = uint32_t(buffer.size());
        return LSX_OK;
    };
}

// The same with the value of value(x, y, gain).
inline FrameMaker monoFrames(int bits, std::function<int(int x, int y, float gain)> value)
{
    return cameraFrames(bits, [value](const RecordCam& c, int x, int y) { return value(x, y, c.gain); });
}

class RecordCamHarness {
protected:
    RecordCamFn m_cam = nullptr;
    RecordCamResetFn m_reset = nullptr;
    std::unique_ptr<QTemporaryDir> m_doc;

    RecordCam& cam() { return *m_cam(); }

    // For initTestCase: binds the recording library named by LSX_RECORDCAM.
    void bindRecordCam()
    {
        const QByteArray path = qgetenv("LSX_RECORDCAM");
        QVERIFY(!path.isEmpty());
        const lsx::BindResult bound = lsx::bindLibrary(path.toStdString());
        QVERIFY2(bound.ok, bound.message.c_str());
        void* lib = dlopen(path.constData(), RTLD_NOW | RTLD_NOLOAD);
        QVERIFY(lib);
        m_cam = reinterpret_cast<RecordCamFn>(dlsym(lib, "recordcam"));
        m_reset = reinterpret_cast<RecordCamResetFn>(dlsym(lib, "recordcamReset"));
        QVERIFY(m_cam && m_reset);
    }

    // For init: a fresh camera and a fresh FPN.ini.
    void freshCamera()
    {
        m_reset();
        m_doc = std::make_unique<QTemporaryDir>();
        QVERIFY(m_doc->isValid());
        qputenv("TELORINE_DOCUMENT_PATH", m_doc->path().toLocal8Bit());
        cameraInfoMap.clear();
    }

    // A server on the recording camera as an open line-scan camera leaves it, without opening
    // (so that no test pays for the close's hand-over pause).
    std::unique_ptr<CameraServer> server()
    {
        auto s = std::make_unique<CameraServer>();
        s->m_handle = 1;
        s->m_cameraName = QStringLiteral("REC-1");
        s->m_isLinescan = true;
        s->m_isTvk317 = false;
        s->m_maxB = 64;
        s->m_hasBlackLevelReg = true;
        s->m_lineCount = 1;
        s->m_roiHeight = 1000;
        cam().calls.clear();
        return s;
    }

    QVariant setting(const QString& key)
    {
        QSettings ini(fpnIniPath(), QSettings::IniFormat);
        return ini.value(key);
    }

    void store(const QString& key, const QVariant& value)
    {
        QSettings ini(fpnIniPath(), QSettings::IniFormat);
        ini.setValue(key, value);
    }
};
