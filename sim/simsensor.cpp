// The simulated camera's sensor model: what one output pixel is at the current settings (dark
// level, signal, temporal variance), and the per-column terms a frame is drawn from.
//
// A sensor pixel collects a charge q, in DN10 at gain 1: its dark current over the exposure plus
// its response times the scene's light times the exposure, up to the full well. The column reads
// it out through its own slightly non-linear response f(q) = q (1 - c q^2), c set so that the
// shortfall at 80 % of full scale is the column's non-linearity. The amplifier multiplies the
// dark offset's pre-amplifier share, f(q) and the pre-amplifier read noise by the gain; the rest
// of the offset and the read noise come after it. Shot noise is that of the charge, q / ePerDn
// electrons squared, through the response's slope.
#include "simcamera_p.h"

#include "lsxsim.h"

#include <algorithm>
#include <cmath>

namespace lsxsim {

namespace {

inline double response(double q, double coef)
{
    return q * (1.0 - coef * q * q);
}
inline double responseSlope(double q, double coef)
{
    return q >= kFullWell ? 0.0 : 1.0 - 3.0 * coef * q * q;
}

}  // namespace

double Camera::lightAt(double x) const
{
    // Light source slope and a cos^4 lens fall-off toward the line's ends.
    const double u = (x + 0.5) / m_def.width * 2.0 - 1.0;
    const double edge = std::pow(std::max(0.05, 1.0 - m_s->falloff), 0.25);
    const double t = std::tan(std::acos(edge));
    const double c = std::cos(std::atan(u * t));
    return m_s->light * (1.0 + m_s->slope * u / 2.0) * c * c * c * c;
}

PixelTruth Camera::pixelTruthLocked(int cls, int i, double level) const
{
    const Settings& s = *m_s;
    const int f = binFactorLocked(), v = verticalBinLocked();
    const bool sum = userBinSumLocked();
    const double g = s.gain, t = s.exposure;
    const double po = m_def.postGainOffset, pn = m_def.postGainNoise;
    const double offsetGain = g * (1.0 - po) + po;
    const double readVar = m_def.readNoise * m_def.readNoise * ((1.0 - pn) * g * g + pn);
    const double shotK = g * g / m_def.ePerDn;
    const size_t base = size_t(cls) * size_t(m_def.width);
    PixelTruth out;
    int n = 0;
    for (int k = 0; k < f; ++k) {
        const int px = (s.roiX + i) * f + k;
        if (px >= m_def.width) break;
        const size_t at = base + size_t(px);
        const double c = s.nonLinear ? m_nonLinear[at] : 0.0;
        const double qd = std::min(kFullWell, double(m_darkCurrent[at]) * t * 1e-3);
        double qp = 0.0;
        if (level >= 0)
            qp = level / (g * (sum ? f * v : 1));
        else if (s.scene != LSX_SIM_SCENE_DARK)
            qp = m_resp[at] * lightAt(px) * t;
        const double q = std::min(kFullWell, qd + qp);
        const double fd = response(qd, c);
        out.dark += m_dark[at] * offsetGain + g * fd;
        out.signal += g * (response(q, c) - fd);
        const double slope = responseSlope(q, c);
        out.var += readVar + shotK * slope * slope * q;
        out.qd += qd;
        out.qp += qp;
        out.coef += c;
        ++n;
    }
    if (n == 0) {
        out.dark = doffsetLocked();
        return out;
    }
    out.qd /= n;
    out.qp /= n;
    out.coef /= n;
    // Binning: SUM adds the pixels (and the rows of a vertical sum), BIN averages them.
    const double pixels = double(n) * v;
    if (sum) {
        out.dark *= v;
        out.signal *= v;
        out.var *= v;
        out.readVar = readVar * pixels;
        out.shotK = shotK * pixels;
        out.gainSum = g * pixels;
    } else {
        out.dark /= n;
        out.signal /= n;
        out.var /= double(n) * n * v;
        out.readVar = readVar / pixels;
        out.shotK = shotK / pixels;
        out.gainSum = g;
    }
    out.dark += doffsetLocked();
    return out;
}

std::shared_ptr<const Pipeline> Camera::pipelineLocked()
{
    if (m_pipeline) return m_pipeline;
    auto p = std::make_shared<Pipeline>();
    const Settings& s = *m_s;
    p->width = s.roiW;
    p->height = s.roiH;
    p->planes = m_def.planes;
    p->lineCount = m_def.area ? m_def.areaHeight : m_def.lines;
    p->classes = m_def.lines * m_def.planes;
    p->area = m_def.area;
    if (m_def.planes == 3) {
        p->format = s.target;
        p->channels = (s.target == FORMAT_BGR32 || s.target == FORMAT_RGB32) ? 4 : 3;
    } else {
        p->format = FORMAT_MONO;
        p->sixteen = s.target == FORMAT_MONO16;
        p->sourceCoarse = s.source == 0;
    }
    auto isp = [&](const char* k) {
        auto it = s.isp.find(k);
        return it != s.isp.end() && it->second;
    };
    p->pattern = s.scene == LSX_SIM_SCENE_PATTERN;
    p->noise = s.noise;
    p->flip = isp("flip") != s.reverseX;
    p->inverse = isp("inverse");
    p->mono = isp("mono") && m_def.planes == 3;
    const size_t W = size_t(p->width);
    p->mean.assign(size_t(p->classes), std::vector<float>(W));
    p->sd.assign(size_t(p->classes), std::vector<float>(W));
    if (p->pattern) p->pat.resize(size_t(p->classes));
    for (int c = 0; c < p->classes; ++c) {
        PatternTerms* pt = p->pattern ? &p->pat[size_t(c)] : nullptr;
        if (pt)
            for (auto* v : {&pt->dark, &pt->qd, &pt->qp, &pt->coef, &pt->readVar, &pt->shotK}) v->resize(W);
        for (size_t i = 0; i < W; ++i) {
            const PixelTruth t = pixelTruthLocked(c, int(i), -1.0);
            p->mean[size_t(c)][i] = float(t.dark + t.signal);
            p->sd[size_t(c)][i] = float(std::sqrt(t.var));
            if (pt) {
                pt->dark[i] = float(t.dark);
                pt->qd[i] = float(t.qd);
                pt->qp[i] = float(t.qp);
                pt->coef[i] = float(t.coef);
                pt->readVar[i] = float(t.readVar);
                pt->shotK[i] = float(t.shotK);
                pt->gainSum = float(t.gainSum);
            }
        }
    }
    p->roiX = s.roiX;
    p->binH = binFactorLocked();
    p->sensorWidth = m_def.width;
    if (m_def.planes == 3) {
        // The colour lines look at object lines apart; the SCS settings take the distance back.
        const double dl = m_def.lineDistance - s.scsLine, dp = m_def.pixelMismatch - s.scsPixel;
        p->lineOffset[0] = dl;
        p->lineOffset[2] = -dl;
        p->stretch[0] = dp / (m_def.width / 2.0);
        p->stretch[2] = -dp / (m_def.width / 2.0);
    }
    buildCorrectionsLocked(*p);
    m_pipeline = p;
    return p;
}

}  // namespace lsxsim
