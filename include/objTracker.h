/// @file objTracker.h
/// Multi-object tracker: the track record OBJTRACK, the per-frame association
/// update_objtracker, the track outlier filter and the NV12 block paste used by
/// the target snapshots.
///
/// Box conventions: (x1, y1) top-left, (x2, y2) bottom-right in image pixels,
/// continuous coordinates (width = x2 - x1). A track takes exactly one
/// observation per frame: a matched detection, or an empty observation, which is
/// any observation whose bottom edge y2 is exactly 0 (the tracker passes the
/// all-zero box with score 0 and class -1).
#ifndef QEVO_OBJTRACKER_H
#define QEVO_OBJTRACKER_H

#include <memory>
#include <utility>
#include <vector>

#include "detection_type_api.h"
#include "imageMat.h"

/// One tracked object: smoothed box, velocity, class votes, centre / score /
/// servo histories, miss balance, identifier and (for tracks built from an
/// image patch) a 256 x 256 mosaic of 4 x 4 tiles of 64 x 64 pixels holding the
/// sixteen latest patches.
///
/// Lifecycle: a track is young until its histories hold m_MaxLength entries
/// (every observation adds one entry, hit or miss), then full. A full track
/// with m_delable <= 5 is established (toObjInfo returns 0); with m_delable > 5
/// it is stale (toObjInfo returns 1).
///
/// Counters never overflow. m_delable saturates at INT_MAX: a miss at INT_MAX
/// leaves it there (the track stays stale and deletable), a hit takes one off
/// as always. _nExistCnt, once at INT_MAX, steps back to INT_MAX - 15 (with the
/// 16-tile mosaic; INT_MAX - (tiles - 1) in general) instead of overflowing:
/// it keeps its value modulo the tile count, so the mosaic goes on filling its
/// tiles in order, and it never turns negative.
///
/// Ownership of the mosaic m_imgBuffer (malloc'd, zero-filled, released with
/// free by the destructor):
///  - copying a track (copy constructor or copy assignment) duplicates the
///    mosaic, so the copy owns its own block and either track may be destroyed
///    first; all other fields are copied member by member;
///  - moving a track hands the mosaic over; the moved-from track owns nothing
///    (m_imgBuffer null) and can be destroyed or assigned to safely.
///  The mosaic size follows the mosaic layout: NV12 -> 256 x 256 x 3 / 2 bytes
///  (luma plane then interleaved chroma plane), RGB -> 256 x 256 x 3 bytes
///  (interleaved RGB, row pitch 768 bytes), any other layout -> no mosaic. A
///  caller that stores its own block in m_imgBuffer hands it to the track and
///  must size it by that rule.
class QEVO_API OBJTRACK {
  private:
    int m_missCount;      ///< miss counter; nothing changes it
    int m_imageSize[2];   ///< mosaic width, height (256, 256)
    int m_subimgSize[2];  ///< tile width, height (64, 64)
    int m_imgnum;         ///< tiles in the mosaic (16 with a block image, else 0)
    int m_MaxLength;      ///< history limit; full at this many entries
    std::vector<std::pair<float, float> > traces;  ///< centre history, (0, 0) for a miss
    QEVO::INPUT_LAYOUT inlayout;                   ///< layout of the mosaic

  public:
    float _x1;       ///< current smoothed box, left edge; the box is all zero after a miss
    float _y1;       ///< current smoothed box, top edge
    float _x2;       ///< current smoothed box, right edge
    float _y2;       ///< current smoothed box, bottom edge
    float _score;    ///< mean of the score history
    int _cls;        ///< class reported for the track (vote winner)
    int _length;     ///< number of history entries
    int _nExistCnt;  ///< snapshots taken by matched image observations
                     ///< (never overflows, see above)
    int _clsNum;     ///< number of classes (size of clsCount)
    float last_x1;   ///< reference box for velocity and prediction, left edge
    float last_y1;   ///< reference box, top edge
    float last_x2;   ///< reference box, right edge
    float last_y2;   ///< reference box, bottom edge
    int _trackID;    ///< identifier given by the association
    float m_vx;      ///< horizontal displacement per frame at the last hit
    float m_vy;      ///< vertical displacement per frame at the last hit
    std::vector<int> clsCount;   ///< votes per class
    std::vector<float> scores;   ///< score history, 0 for a miss
    int m_delable;               ///< +1 per miss, -1 per hit, in 0 .. INT_MAX
    float _ymean;                ///< mean y-centre of the non-empty history entries
    unsigned char *m_imgBuffer;  ///< snapshot mosaic, owned; null when none
    QEVO::ImgMat m_imgBufferCV;  ///< frame descriptor, carried untouched
    std::vector<std::pair<float, float> > m_org_fAZ_PTs;  ///< (fAz, fPt) per image observation
    std::vector<ImageMat> target_list;                    ///< kept empty

    /// Track with every field at its initial value: no box, class -1,
    /// identifier -1, m_MaxLength 0 (so it counts as full at once).
    OBJTRACK();

    /// Track from one detection given as corners (x1, y1, x2, y2), class and
    /// score. The box and the last box are the detection; clsCount holds clsNum
    /// zero votes (the construction class is not a vote); the histories hold
    /// the detection's centre and score. A negative clsNum gives no vote table.
    OBJTRACK(float x1, float y1, float x2, float y2, int cls, float score, int clsNum, int length);

    /// As above from an objinfo (reads x1, y1, x2, y2, score and classNum).
    OBJTRACK(QEVO::objinfo det, int clsNum, int length);

    /// As above, plus: appends the frame's servo angles (fAz, fPt), read from
    /// the SyncInfos whose address is pImgBuff->cfg, to m_org_fAZ_PTs; builds
    /// the mosaic in the patch's layout (NV12 or RGB; any other layout gives no
    /// mosaic) and pastes the patch into tile 0. A null pImgBuff or a cfg of 0
    /// adds nothing to the servo history; a patch without data is not pasted.
    /// Paste rules are those of the image form of add().
    OBJTRACK(QEVO::objinfo det, QEVO::ImgMat block_image, int clsNum, int length,
             QEVO::ImgMat *pImgBuff);

    /// Releases the mosaic.
    ~OBJTRACK();

    /// A copy with a mosaic of its own (see the class comment).
    OBJTRACK(const OBJTRACK &other);
    /// Takes over `other`'s mosaic and fields (see the class comment).
    OBJTRACK(OBJTRACK &&other) noexcept;
    /// Copies `other`, the mosaic duplicated; the old mosaic is released.
    OBJTRACK &operator=(const OBJTRACK &other);
    /// Takes over `other`'s mosaic; the old mosaic is released.
    OBJTRACK &operator=(OBJTRACK &&other) noexcept;

    /// True when the histories hold at least m_MaxLength entries.
    bool isFull();

    /// Recomputes _ymean, then, when full, cuts the centre, score and servo
    /// histories to their newest m_MaxLength entries (a shorter history is kept
    /// whole) and sets _length to m_MaxLength.
    void update();

    /// One observation from a detection (y2 == 0: a miss). Casts a class vote;
    /// on a hit the box becomes (det + last box + velocity) / 2 per corner and
    /// the last box becomes det (unless the previous observation was a miss).
    void add(QEVO::objinfo det);

    /// One observation with the detection's image patch and the frame
    /// descriptor. No class vote. On a hit the box becomes (det + last box) / 2
    /// per corner, and the patch is pasted into tile _nExistCnt mod 16 at
    /// (patch width x column, patch height x row), after which _nExistCnt
    /// advances (also when nothing could be pasted). The frame's (fAz, fPt)
    /// are appended to the servo history on every call, hit or miss, when
    /// imgbuffer is not null and its cfg is not 0.
    /// Paste rules: a patch larger than a tile is cut to its top-left 64 x 64
    /// pixels and positioned as if it were that size, so nothing is written
    /// outside its tile. An NV12 mosaic takes the patch as an NV12 block (luma
    /// rows then half-height chroma rows, row pitch = patch width); patches of
    /// layout GRAY are too small for that and are not pasted. An RGB mosaic
    /// takes only RGB patches (3 bytes per pixel, row pitch = 3 x patch
    /// width). No mosaic, no data, or a track not built with a block image:
    /// no paste.
    void add(QEVO::objinfo det, QEVO::ImgMat block_image, QEVO::ImgMat *imgbuffer);

    /// One observation from corners given in the order x1, x2, y1, y2 (not the
    /// constructor's order), a score and a class (-1 for none). Casts a class
    /// vote; on a hit the last box becomes the current box (unless the previous
    /// observation was a miss) and the box becomes (last box + observation +
    /// velocity) / 2 per corner.
    /// Class votes (this form and the detection form): a class in
    /// 0 .. _clsNum - 1 adds one vote and _cls becomes the class with the most
    /// votes (lowest index on ties). A negative class, or one at or above
    /// _clsNum, casts no vote and leaves _cls unchanged.
    void add(float x1, float x2, float y1, float y2, float score, int cls);

    /// Read-back. Returns 2 (not full) or 1 (full and m_delable > 5) without
    /// touching det; otherwise writes the box (the predicted box, last box plus
    /// velocity, after a miss), _cls, _score and _trackID into det and
    /// returns 0. det.ID and det.area are left as they are.
    int toObjInfo(QEVO::objinfo &det);

    /// Same as toObjInfo; in the stale case it also prints
    /// "toObjInfo_predict: obj is full && delable, still kept in last_targets error".
    int toObjInfo_predict(QEVO::objinfo &det);

    /// _ymean = mean y-centre over the centre history entries whose x-centre is
    /// not 0; 0 when there is none.
    void update_mean();

    /// Angle difference in degrees (wrapped once into [-180, 180]) divided by
    /// dResolution (degrees per pixel); 0 when dResolution <= 1e-7.
    float calc_delta(double delta, double dResolution);

    /// Does nothing; target_list stays as it is.
    void update_target_list();
};

/// Per-frame association, shared-pointer form: tracks held through shared
/// pointers (carried tracks are the very same objects), matched by the distance
/// between the centre of each track's predicted box and each detection's
/// centre, accepted when the distance is at most matchThr x sqrt(area of the
/// track's last box) and the detection is still free (greedy, list order).
/// Hits are fed with the detection's patch block_images[k] and copy_img (image
/// form of OBJTRACK::add); misses with the empty observation. A full track
/// whose m_delable then exceeds _length / 2 is dropped. Unmatched detections
/// become new tracks (5 classes, 10 history entries) with identifiers
/// max old identifier + 1, + 2, ... (0 .. n - 1 when there are no old tracks).
/// Identifiers never turn negative (all three forms): one that would pass
/// INT_MAX is instead the smallest non-negative identifier that no track of
/// the returned list holds, so the tracks of a list keep distinct identifiers
/// (if the caller gave them distinct ones); an old track with identifier
/// INT_MAX sends every new track of the call down this path.
/// Carried tracks, then new ones, are appended to objnew (not cleared).
/// Returns 0.
/// Safe inputs: a detection without a patch (block_images shorter than dets)
/// is handled as one with an empty patch (no data, layout RGB): its track gets
/// no paste. A null copy_img or a cfg of 0 adds nothing to the servo histories.
/// Null entries of objold are skipped and dropped.
QEVO_API int update_objtracker(std::vector<QEVO::objinfo> dets,
                               std::vector<std::shared_ptr<OBJTRACK> > objold,
                               std::vector<std::shared_ptr<OBJTRACK> > &objnew,
                               std::vector<QEVO::ImgMat> block_images, float matchThr,
                               QEVO::ImgMat *copy_img);

/// Per-frame association, copying form: tracks held by value, matched by the IoU
/// of each track's predicted box with each detection (accepted when IoU >
/// matchThr and the detection is free; greedy in list order). Hits take the
/// detection form of OBJTRACK::add, misses the empty observation; a full track
/// whose m_delable then exceeds _length / 2 is dropped. Unmatched detection i
/// becomes a new track (9 classes, 10 history entries) with identifier
/// max old identifier + 1 + i (i on the first frame). Carried tracks, then new
/// ones, are appended to objnew (not cleared). Returns 0.
/// Detection classes outside 0 .. 8 cast no vote. Tracks carrying a mosaic
/// are copied with their own duplicate of it.
QEVO_API int update_objtracker(std::vector<QEVO::objinfo> dets, std::vector<OBJTRACK> objold,
                               std::vector<OBJTRACK> &objnew, float matchThr);

/// Per-frame association, in-place form: as the copying form, but the caller's
/// list is updated directly (dropped tracks are removed, the order of the
/// others is kept, new tracks are appended at the end). Prints its progress
/// lines to standard output unconditionally. Returns 0.
QEVO_API int update_objtracker(std::vector<QEVO::objinfo> dets, std::vector<OBJTRACK> &objtrackers,
                               float matchThr);

/// Track outlier filter. Appends to dst_objs (not cleared) first every young
/// track (not full) of src_objs, then every established track (full,
/// m_delable <= 5) whose _ymean lies within ymean +- sigma x ystd, where ymean
/// and ystd are the mean and standard deviation of _ymean over the established
/// tracks, ystd clamped to [2, 10] (a NaN deviation counts as 10). Stale
/// tracks are dropped. Band edges pass, as does a NaN _ymean.
/// Returns 0, or 2 when no track was established.
QEVO_API int filter_objtrackers(std::vector<OBJTRACK> src_objs, std::vector<OBJTRACK> &dst_objs,
                                float sigma);

/// Copies the NV12 block src (srcWidth x srcHeight luma bytes, then
/// srcHeight / 2 rows of srcWidth interleaved chroma bytes) into the NV12 image
/// dest (destWidth x destHeight, chroma plane at byte destWidth x destHeight,
/// rows of destWidth bytes) with its top-left corner at (pasteX, pasteY);
/// chroma rows go to pasteY / 2 + y. Chroma rows are as long as luma rows for
/// odd widths too, as in ImageMat and crop_yuv (see imageMat.h). Every row is
/// clipped to the destination: only the parts that fall inside the
/// destination's luma plane (destHeight rows) or chroma plane (destHeight / 2
/// rows) and inside its width are written. Null pointers or non-positive sizes
/// copy nothing.
QEVO_API void pasteNV12Block(unsigned char *dest, int destWidth, int destHeight, unsigned char *src,
                             int srcWidth, int srcHeight, int pasteX, int pasteY);

#endif  // QEVO_OBJTRACKER_H
