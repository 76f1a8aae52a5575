// Free utility functions of the library, all in namespace KIVEX.
//
// Symbols: every function declared inside the extern "C" blocks below is
// exported under its plain, undecorated name (so none of them can be
// overloaded). Only KIVEX::bboxes_iou taking a track by value,
// KIVEX::seg_IOU and KIVEX::SortAreaScore carry ordinary C++ names.
#ifndef QEVO_UTILS_H
#define QEVO_UTILS_H

#include <cstdio>
#include <sys/time.h>

#include "detection_type_api.h"

namespace KIVEX {

// ---------------------------------------------------------------------------
// Debug trace switch, frame dumps, debug log and timing
// ---------------------------------------------------------------------------
extern "C" {

// 1 if `path` exists (access(path, F_OK) == 0), else 0 (also for null).
QEVO_API int IsFileExist(const char *path);

// Creates the directory `logroot` (with any missing parents, through
// file-system calls; no shell is involved) when it does not exist, then opens
// "<logroot>/debug.algo" for writing, created or truncated. Returns the
// stream, which the caller closes (the library never writes to it), or null
// after printing "debug log open error" (ungated) when the file cannot be
// opened; a null or empty `logroot` is treated the same way. Any length of
// `logroot` is accepted (the path is built in a buffer sized to it), and its
// characters are only ever a path: nothing is run through a shell.
QEVO_API FILE *create_debuginfo(const char *logroot);

// While ./AI_WRITE exists, dumps the frame's bytes to ./img.nv12 (NV12:
// width x height x 1.5 bytes) or ./img.bin (any other format: width x height x
// depth bytes), truncating the file, then deletes the marker and returns what
// remove() returned. Without the marker it returns 0 and touches nothing.
// A frame without pixels still truncates the dump file and consumes the
// marker. If the dump file cannot be created, nothing is written, flushed or
// closed, and the marker is still deleted (so one failed dump does not repeat
// on every later frame); the result is again remove()'s.
QEVO_API int grab_image(QEVO::ImgMat img);

// Elapsed time from `starttime` to `endtime` in seconds (single precision);
// negative when endtime lies before starttime.
QEVO_API float getDtimeSecond(struct timeval starttime, struct timeval endtime);

// The same interval in milliseconds: the seconds value multiplied by 1000.
QEVO_API float getDtimeMiliSecond(struct timeval starttime, struct timeval endtime);

}  // extern "C"

// ---------------------------------------------------------------------------
// Box overlap and distance measures, servo conversions
// ---------------------------------------------------------------------------
}  // namespace KIVEX

#include <vector>

class OBJTRACK;

namespace KIVEX {

extern "C" {

// Overlap of the track's predicted box (last box shifted by the velocity
// m_vx, m_vy) with every detection, appended to `ious` (not cleared), one
// value per detection in list order. iouType <= 0: IoU; 1: GIoU; 2: DIoU;
// >= 3: CIoU. Every division is guarded by eps = 1e-5 (boxes with inverted
// corners are not). Always returns 0; a null track appends nothing.
QEVO_API int bboxes_iou(OBJTRACK *objtracker, std::vector<QEVO::objinfo> dets,
                        std::vector<float> &ious, int iouType);

// Distance from the centre of the track's predicted box to every detection's
// centre, appended to `distances` (not cleared). iouType is not used.
// Always returns 0; a null track appends nothing.
QEVO_API int bboxes_dists(OBJTRACK *objtracker, std::vector<QEVO::objinfo> dets,
                          std::vector<float> &distances, int iouType);

// Position and value of the first largest entry strictly above
// 1.17549435e-38 (the smallest normal float); when none is, idx = 0 and
// Maxdata = 1.17549435e-38. NaN entries are never chosen. Returns 1 (outputs
// untouched) for an empty list, else 0.
QEVO_API int find_arg_max(std::vector<float> datas, int &idx, float &Maxdata);

// Position and value of the first smallest entry strictly below 1e9; when
// none is, idx = 0 and Mindata = 1e9. NaN entries are never chosen. Returns 1
// (outputs untouched) for an empty list, else 0.
QEVO_API int find_arg_min(std::vector<float> datas, int &idx, float &Mindata);

// Azimuth (degrees) that points at image column fObjX: fAz plus the offset
// from the centre column nW / 2 times dResolution (degrees per pixel), then
// wrapped once: above 360 -> minus 360, then below 0 -> plus 360. nH unused.
QEVO_API float servo_calc_Az(float fAz, float fObjX, double dResolution, int nW, int nH);

// Pitch (degrees) that points at image row fObjY (rows above the centre row
// nH / 2 raise the pitch), wrapped once: above 180 -> minus 360, then below
// -180 -> plus 360. nW unused.
QEVO_API float servo_calc_Pt(float fPt, float fObjY, double dResolution, int nW, int nH);

// Image column of azimuth fObjAz (wrapped once into [0, 360]) seen from
// azimuth fAz; the angle difference itself is not wrapped. 0 when
// dResolution <= 1e-7. nH unused.
QEVO_API float servo_calc_ImgX(float fAz, float fObjAz, double dResolution, int nW, int nH);

// Image row of pitch fObjPt (wrapped once into [-180, 180]) seen from pitch
// fPt; the difference is not wrapped. 0 when dResolution <= 1e-7. nW unused.
QEVO_API float servo_calc_ImgY(float fPt, float fObjPt, double dResolution, int nW, int nH);

}  // extern "C"

// Overlap (as the pointer form) of the track's current box _x1, _y1, _x2, _y2,
// without any velocity, with every detection; one value per detection.
QEVO_API std::vector<float> bboxes_iou(OBJTRACK objtracker, std::vector<QEVO::objinfo> dets,
                                       int iouType);


// ---------------------------------------------------------------------------
// Suppression, activations, pixel buffers, files, strings and hashes
// ---------------------------------------------------------------------------

// ---------------------------------------------------------------------------
// Tensor arithmetic
// ---------------------------------------------------------------------------
}  // namespace KIVEX

#include <memory>

class TensorMat;

namespace KIVEX {
extern "C" {

// Takes shared ownership of two tensors for the duration of the call and
// performs no operation on them (element-wise addition is TensorMat::add).
// Always returns 0.
QEVO_API int add_TensorMat(std::shared_ptr<TensorMat> a, std::shared_ptr<TensorMat> b);

}  // extern "C"

}  // namespace KIVEX

#endif  // QEVO_UTILS_H
