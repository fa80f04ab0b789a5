// Fuzz harness: a frame descriptor and buffer as a camera library might deliver them, through the
// program's frame check, the deep copy, the planes of the calibrations, their column statistics
// and the display conversion. The input is the 64-byte descriptor followed by the buffer.
#include "calibration/darkstats.h"
#include "camera/framegrab.h"

#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < sizeof(lsxFrame)) return 0;
    lsxFrame frame;
    std::memcpy(&frame, data, sizeof frame);
    // The buffer as the library hands it: exactly the bytes that follow, in memory of its own.
    // The descriptor's size is all the program can know of the buffer; a library owns at least
    // what it says, so a larger claim is cut to what is there.
    std::vector<uint8_t> buffer(data + sizeof frame, data + size);
    if (frame.size > buffer.size()) frame.size = uint32_t(buffer.size());
    const void* p = buffer.empty() ? nullptr : buffer.data();
    const FrameCheck check = checkFrame(frame, p);
    const cv::Mat img = frameToMat(frame, p);
    if (check.ok() != !img.empty()) __builtin_trap();
    if (img.empty()) return 0;
    std::vector<cv::Mat> planes;
    const int lineCount = 1 + int(frame.frameId % 5);
    if (splitFramePlanes(img, int(frame.format), lineCount, true, planes)) {
        for (const cv::Mat& plane : planes) {
            columnMeanRange(plane, eightBitScale(frame.bits));
            darkRow(plane);
        }
    }
    matToImage(img, int(frame.format), int(frame.bits));
    return 0;
}
