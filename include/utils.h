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

// 1 if `path` exists (access(path, F_OK) == 0), else 0.
QEVO_API int IsFileExist(const char *path);

// Creates the directory `logroot` (with any missing parents, through
// file-system calls; no shell is involved) when it does not exist, then opens
// "<logroot>/debug.algo" for writing, created or truncated. Returns the
// stream, which the caller closes, or null after printing
// "debug log open error". Any length of `logroot` is accepted: the path is
// built in a buffer sized to it.
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
