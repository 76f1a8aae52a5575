// The track record: construction, copying, observation steps, trimming and
// read-back.
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "objTracker.h"
#include "objTracker/snapshot_internal.h"
#include "utils/debug_trace.h"

namespace {

// Size of the mosaic grid and of one tile, fixed for every track.
constexpr int kMosaicSide = 256;
constexpr int kTileSide = 64;

// The frame's servo record behind a frame descriptor, or null when there is
// no descriptor or it carries no record address.
const QEVO::SyncInfos *sync_record(const QEVO::ImgMat *frame) {
    if (frame == nullptr || frame->cfg == 0) return nullptr;
    return reinterpret_cast<const QEVO::SyncInfos *>(static_cast<intptr_t>(frame->cfg));
}

// A zero-filled malloc'd block of `bytes`, or null for 0 bytes.
unsigned char *new_mosaic(size_t bytes) {
    if (bytes == 0) return nullptr;
    unsigned char *p = static_cast<unsigned char *>(std::malloc(bytes));
    if (p != nullptr) std::memset(p, 0, bytes);
    return p;
}

// Velocity component: centre minus the last box's centre, in double precision
// from the single-precision centre and the single-precision corner sum.
float displacement(float centre, float last_lo, float last_hi) {
    const float sum = last_lo + last_hi;
    return static_cast<float>(static_cast<double>(centre) - static_cast<double>(sum) * 0.5);
}

}  // namespace

OBJTRACK::OBJTRACK()
    : m_missCount(0),
      m_imageSize{kMosaicSide, kMosaicSide},
      m_subimgSize{kTileSide, kTileSide},
      m_imgnum(0),
      m_MaxLength(0),
      traces(),
      inlayout(QEVO::RGB),
      _x1(0),
      _y1(0),
      _x2(0),
      _y2(0),
      _score(0),
      _cls(-1),
      _length(0),
      _nExistCnt(0),
      _clsNum(0),
      last_x1(0),
      last_y1(0),
      last_x2(0),
      last_y2(0),
      _trackID(-1),
      m_vx(0),
      m_vy(0),
      clsCount(),
      scores(),
      m_delable(0),
      _ymean(0),
      m_imgBuffer(nullptr),
      m_imgBufferCV(),
      m_org_fAZ_PTs(),
      target_list() {}

OBJTRACK::OBJTRACK(float x1, float y1, float x2, float y2, int cls, float score, int clsNum,
                   int length)
    : OBJTRACK() {
    _x1 = last_x1 = x1;
    _y1 = last_y1 = y1;
    _x2 = last_x2 = x2;
    _y2 = last_y2 = y2;
    _cls = cls;
    _clsNum = clsNum;
    m_MaxLength = length;
    clsCount.assign(clsNum > 0 ? static_cast<size_t>(clsNum) : 0, 0);
    scores.push_back(score);
    traces.emplace_back((x1 + x2) * 0.5f, (y1 + y2) * 0.5f);
    _length = static_cast<int>(traces.size());
    _score = score;
    _ymean = (y1 + y2) * 0.5f;
}

OBJTRACK::OBJTRACK(QEVO::objinfo det, int clsNum, int length)
    : OBJTRACK(det.x1, det.y1, det.x2, det.y2, det.classNum, det.score, clsNum, length) {}

OBJTRACK::OBJTRACK(QEVO::objinfo det, QEVO::ImgMat block_image, int clsNum, int length,
                   QEVO::ImgMat *pImgBuff)
    : OBJTRACK(det.x1, det.y1, det.x2, det.y2, det.classNum, det.score, clsNum, length) {
    if (const QEVO::SyncInfos *sync = sync_record(pImgBuff)) {
        m_org_fAZ_PTs.emplace_back(sync->fAz, sync->fPt);
    }
    m_imgnum = (m_imageSize[0] / m_subimgSize[0]) * (m_imageSize[1] / m_subimgSize[1]);
    _nExistCnt = 0;
    inlayout = block_image.inlayout;
    m_imgBuffer = new_mosaic(qevo_internal::mosaic_bytes(inlayout, m_imageSize[0], m_imageSize[1]));
    if (block_image.data != nullptr && m_imgBuffer != nullptr) {
        const int perRow = static_cast<int>(std::sqrt(static_cast<double>(m_imgnum)));
        qevo_internal::paste_tile(m_imgBuffer, inlayout, m_imageSize[0], m_imageSize[1],
                                  m_subimgSize[0], m_subimgSize[1], perRow, _nExistCnt % m_imgnum,
                                  block_image);
    }
}

OBJTRACK::~OBJTRACK() {
    std::free(m_imgBuffer);
    m_imgBuffer = nullptr;
}

OBJTRACK::OBJTRACK(const OBJTRACK &other)
    : m_missCount(other.m_missCount),
      m_imageSize{other.m_imageSize[0], other.m_imageSize[1]},
      m_subimgSize{other.m_subimgSize[0], other.m_subimgSize[1]},
      m_imgnum(other.m_imgnum),
      m_MaxLength(other.m_MaxLength),
      traces(other.traces),
      inlayout(other.inlayout),
      _x1(other._x1),
      _y1(other._y1),
      _x2(other._x2),
      _y2(other._y2),
      _score(other._score),
      _cls(other._cls),
      _length(other._length),
      _nExistCnt(other._nExistCnt),
      _clsNum(other._clsNum),
      last_x1(other.last_x1),
      last_y1(other.last_y1),
      last_x2(other.last_x2),
      last_y2(other.last_y2),
      _trackID(other._trackID),
      m_vx(other.m_vx),
      m_vy(other.m_vy),
      clsCount(other.clsCount),
      scores(other.scores),
      m_delable(other.m_delable),
      _ymean(other._ymean),
      m_imgBuffer(nullptr),
      m_imgBufferCV(other.m_imgBufferCV),
      m_org_fAZ_PTs(other.m_org_fAZ_PTs),
      target_list(other.target_list) {
    if (other.m_imgBuffer != nullptr) {
        const size_t bytes = qevo_internal::mosaic_bytes(inlayout, m_imageSize[0], m_imageSize[1]);
        if (bytes > 0) {
            m_imgBuffer = static_cast<unsigned char *>(std::malloc(bytes));
            if (m_imgBuffer != nullptr) std::memcpy(m_imgBuffer, other.m_imgBuffer, bytes);
        }
    }
}

// A move is a default (empty) object that takes over everything by the move
// assignment below.
OBJTRACK::OBJTRACK(OBJTRACK &&other) noexcept : OBJTRACK() { *this = std::move(other); }

OBJTRACK &OBJTRACK::operator=(const OBJTRACK &other) {
    if (this == &other) return *this;
    OBJTRACK copy(other);
    *this = std::move(copy);
    return *this;
}

OBJTRACK &OBJTRACK::operator=(OBJTRACK &&other) noexcept {
    if (this == &other) return *this;
    m_missCount = other.m_missCount;
    m_imageSize[0] = other.m_imageSize[0];
    m_imageSize[1] = other.m_imageSize[1];
    m_subimgSize[0] = other.m_subimgSize[0];
    m_subimgSize[1] = other.m_subimgSize[1];
    m_imgnum = other.m_imgnum;
    m_MaxLength = other.m_MaxLength;
    traces = std::move(other.traces);
    inlayout = other.inlayout;
    _x1 = other._x1;
    _y1 = other._y1;
    _x2 = other._x2;
    _y2 = other._y2;
    _score = other._score;
    _cls = other._cls;
    _length = other._length;
    _nExistCnt = other._nExistCnt;
    _clsNum = other._clsNum;
    last_x1 = other.last_x1;
    last_y1 = other.last_y1;
    last_x2 = other.last_x2;
    last_y2 = other.last_y2;
    _trackID = other._trackID;
    m_vx = other.m_vx;
    m_vy = other.m_vy;
    clsCount = std::move(other.clsCount);
    scores = std::move(other.scores);
    m_delable = other.m_delable;
    _ymean = other._ymean;
    std::free(m_imgBuffer);
    m_imgBuffer = other.m_imgBuffer;
    other.m_imgBuffer = nullptr;
    m_imgBufferCV = other.m_imgBufferCV;
    m_org_fAZ_PTs = std::move(other.m_org_fAZ_PTs);
    target_list = std::move(other.target_list);
    return *this;
}

bool OBJTRACK::isFull() { return _length >= m_MaxLength; }

namespace {

// Keeps the newest `keep` entries of `v`.
template <typename T>
void keep_newest(std::vector<T> &v, int keep) {
    const size_t n = keep > 0 ? static_cast<size_t>(keep) : 0;
    if (v.size() > n) v.erase(v.begin(), v.end() - static_cast<std::ptrdiff_t>(n));
}

}  // namespace

void OBJTRACK::update() {
    update_mean();
    if (isFull()) {
        keep_newest(traces, m_MaxLength);
        keep_newest(scores, m_MaxLength);
        keep_newest(m_org_fAZ_PTs, m_MaxLength);
        _length = m_MaxLength > 0 ? m_MaxLength : 0;
    }
}

void OBJTRACK::update_mean() {
    int n = 0;
    float sum = 0.0f;
    for (const auto &c : traces) {
        if (c.first != 0.0f) {
            sum += c.second;
            ++n;
        }
    }
    _ymean = n > 0 ? sum / static_cast<float>(n) : 0.0f;
}

namespace {

// The three observation forms differ in the class vote, in what replaces the
// last box and in the smoothing of the new box.
enum class Form { Float, Detection, Image };

struct Observation {
    float x1, y1, x2, y2, score;
    int cls;
};

// Steps shared by the three forms once the centre is in the history: the class
// vote, the miss or hit bookkeeping, the velocity and the new box. Returns true
// for a matched observation. A file-local helper, so the exported class gains
// no extra members.
template <Form F>
bool observe(OBJTRACK &t, const Observation &o, float cx, float cy) {
    if (F != Form::Image && o.cls >= 0 && o.cls < t._clsNum &&
        static_cast<size_t>(o.cls) < t.clsCount.size()) {
        ++t.clsCount[static_cast<size_t>(o.cls)];
        int best = 0;
        for (size_t i = 1; i < t.clsCount.size(); ++i) {
            if (t.clsCount[i] > t.clsCount[static_cast<size_t>(best)]) best = static_cast<int>(i);
        }
        t._cls = best;
    }
    if (o.y2 == 0.0f) {
        t.scores.push_back(0.0f);
        if (t.m_delable < INT_MAX) t.m_delable += 1;  // saturates instead of overflowing
        t._x1 = o.x1;
        t._y1 = o.y1;
        t._x2 = o.x2;
        t._y2 = o.y2;
        return false;
    }
    t.scores.push_back(o.score);
    t.m_delable = t.m_delable > 1 ? t.m_delable - 1 : 0;
    t.m_vx = displacement(cx, t.last_x1, t.last_x2);
    t.m_vy = displacement(cy, t.last_y1, t.last_y2);
    if (t._x2 != 0.0f) {
        if (F == Form::Float) {
            t.last_x1 = t._x1;
            t.last_y1 = t._y1;
            t.last_x2 = t._x2;
            t.last_y2 = t._y2;
        } else {
            t.last_x1 = o.x1;
            t.last_y1 = o.y1;
            t.last_x2 = o.x2;
            t.last_y2 = o.y2;
        }
    }
    if (F == Form::Float) {
        t._x1 = (t.last_x1 + o.x1 + t.m_vx) * 0.5f;
        t._y1 = (t.last_y1 + o.y1 + t.m_vy) * 0.5f;
        t._x2 = (t.last_x2 + o.x2 + t.m_vx) * 0.5f;
        t._y2 = (t.last_y2 + o.y2 + t.m_vy) * 0.5f;
    } else if (F == Form::Detection) {
        t._x1 = (o.x1 + t.last_x1 + t.m_vx) * 0.5f;
        t._y1 = (o.y1 + t.last_y1 + t.m_vy) * 0.5f;
        t._x2 = (o.x2 + t.last_x2 + t.m_vx) * 0.5f;
        t._y2 = (o.y2 + t.last_y2 + t.m_vy) * 0.5f;
    } else {
        t._x1 = (o.x1 + t.last_x1) * 0.5f;
        t._y1 = (o.y1 + t.last_y1) * 0.5f;
        t._x2 = (o.x2 + t.last_x2) * 0.5f;
        t._y2 = (o.y2 + t.last_y2) * 0.5f;
    }
    return true;
}

// Mean of the score history, accumulated in double precision.
float score_mean(const std::vector<float> &scores, int length) {
    double sum = 0.0;
    for (float s : scores) sum += s;
    return static_cast<float>(sum / length);
}

}  // namespace

void OBJTRACK::add(float x1, float x2, float y1, float y2, float score, int cls) {
    const float cx = (x1 + x2) * 0.5f;
    const float cy = (y1 + y2) * 0.5f;
    traces.emplace_back(cx, cy);
    observe<Form::Float>(*this, Observation{x1, y1, x2, y2, score, cls}, cx, cy);
    _length += 1;
    update();
    _score = score_mean(scores, _length);
}

void OBJTRACK::add(QEVO::objinfo det) {
    const float cx = (det.x1 + det.x2) * 0.5f;
    const float cy = (det.y1 + det.y2) * 0.5f;
    traces.emplace_back(cx, cy);
    observe<Form::Detection>(
        *this, Observation{det.x1, det.y1, det.x2, det.y2, det.score, det.classNum}, cx, cy);
    _length += 1;
    update();
    _score = score_mean(scores, _length);
}

void OBJTRACK::add(QEVO::objinfo det, QEVO::ImgMat block_image, QEVO::ImgMat *imgbuffer) {
    QEVO_TRACE("********past_crop_to_images******** ");
    const float cx = (det.x1 + det.x2) * 0.5f;
    const float cy = (det.y1 + det.y2) * 0.5f;
    traces.emplace_back(cx, cy);
    if (const QEVO::SyncInfos *sync = sync_record(imgbuffer)) {
        m_org_fAZ_PTs.emplace_back(sync->fAz, sync->fPt);
    }
    const bool hit = observe<Form::Image>(
        *this, Observation{det.x1, det.y1, det.x2, det.y2, det.score, det.classNum}, cx, cy);
    if (hit) {
        if (m_imgnum > 0 && m_imgBuffer != nullptr && block_image.data != nullptr) {
            const int k = _nExistCnt % m_imgnum;
            const int perRow = static_cast<int>(std::sqrt(static_cast<double>(m_imgnum)));
            qevo_internal::paste_tile(m_imgBuffer, inlayout, m_imageSize[0], m_imageSize[1],
                                      m_subimgSize[0], m_subimgSize[1], perRow, k, block_image);
        }
        QEVO_TRACE("********finish_past_crop_to_images******** ");
        // At INT_MAX the count steps back by m_imgnum - 1 instead of
        // overflowing: the value stays the same modulo m_imgnum as the true
        // count, so the tiles keep their order.
        if (_nExistCnt < INT_MAX)
            _nExistCnt += 1;
        else
            _nExistCnt = m_imgnum > 0 ? INT_MAX - (m_imgnum - 1) : INT_MAX;
    }
    _length += 1;
    update();
    _score = score_mean(scores, _length);
}

int OBJTRACK::toObjInfo(QEVO::objinfo &det) {
    if (!isFull()) return 2;
    if (m_delable > 5) return 1;
    if (_y2 == 0.0f) {
        det.x1 = last_x1 + m_vx;
        det.y1 = last_y1 + m_vy;
        det.x2 = last_x2 + m_vx;
        det.y2 = last_y2 + m_vy;
    } else {
        det.x1 = _x1;
        det.y1 = _y1;
        det.x2 = _x2;
        det.y2 = _y2;
    }
    det.classNum = _cls;
    det.score = _score;
    det.trackID = _trackID;
    return 0;
}

int OBJTRACK::toObjInfo_predict(QEVO::objinfo &det) {
    if (isFull() && m_delable > 5) {
        std::puts("toObjInfo_predict: obj is full && delable, still kept in last_targets error");
        return 1;
    }
    return toObjInfo(det);
}

float OBJTRACK::calc_delta(double delta, double dResolution) {
    if (delta > 180.0) delta -= 360.0;
    if (delta < -180.0) delta += 360.0;
    if (dResolution > 1e-7) return static_cast<float>(delta / dResolution);
    return 0.0f;
}

void OBJTRACK::update_target_list() {}
