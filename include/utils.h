/// @file utils.h
/// Free utility functions of the library, all in namespace KIVEX.
///
/// Symbols: every function declared inside the extern "C" blocks below is
/// exported under its plain, undecorated name (so none of them can be
/// overloaded). Only KIVEX::bboxes_iou taking a track by value,
/// KIVEX::seg_IOU and KIVEX::SortAreaScore carry ordinary C++ names.
#ifndef QEVO_UTILS_H
#define QEVO_UTILS_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <sys/time.h>
#include <vector>

#include "detection_type_api.h"

namespace KIVEX {

// ---------------------------------------------------------------------------
// Debug trace switch, frame dumps, debug log and timing
// ---------------------------------------------------------------------------
extern "C" {

/// 1 if `path` exists (access(path, F_OK) == 0), else 0 (also for null).
QEVO_API int IsFileExist(const char *path);

/// Creates the directory `logroot` (with any missing parents, through
/// file-system calls; no shell is involved) when it does not exist, then opens
/// "<logroot>/debug.algo" for writing, created or truncated. Returns the
/// stream, which the caller closes (the library never writes to it), or null
/// after printing "debug log open error" (ungated) when the file cannot be
/// opened; a null or empty `logroot` is treated the same way. Any length of
/// `logroot` is accepted (the path is built in a buffer sized to it), and its
/// characters are only ever a path: nothing is run through a shell.
QEVO_API FILE *create_debuginfo(const char *logroot);

/// While ./AI_WRITE exists, dumps the frame's bytes to ./img.nv12 (NV12:
/// width x height x 1.5 bytes) or ./img.bin (any other format: width x height x
/// depth bytes), truncating the file, then deletes the marker and returns what
/// remove() returned. Without the marker it returns 0 and touches nothing.
/// A frame without pixels still truncates the dump file and consumes the
/// marker. If the dump file cannot be created, nothing is written, flushed or
/// closed, and the marker is still deleted (so one failed dump does not repeat
/// on every later frame); the result is again remove()'s.
QEVO_API int grab_image(QEVO::ImgMat img);

/// Elapsed time from `starttime` to `endtime` in seconds (single precision);
/// negative when endtime lies before starttime. The microsecond difference is
/// exact for any two values (no overflow, also for uninitialised or sentinel
/// times far apart) and rounded once to single precision before the division
/// by 1000000.
QEVO_API float getDtimeSecond(struct timeval starttime, struct timeval endtime);

/// The same interval in milliseconds: the seconds value multiplied by 1000.
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

/// Overlap of the track's predicted box (last box shifted by the velocity
/// m_vx, m_vy) with every detection, appended to `ious` (not cleared), one
/// value per detection in list order. iouType <= 0: IoU; 1: GIoU; 2:
/// DIoU; >= 3: CIoU. Every division is guarded by eps = 1e-5 (boxes with inverted
/// corners are not). Always returns 0; a null track appends nothing.
QEVO_API int bboxes_iou(OBJTRACK *objtracker, std::vector<QEVO::objinfo> dets,
                        std::vector<float> &ious, int iouType);

/// Distance from the centre of the track's predicted box to every detection's
/// centre, appended to `distances` (not cleared). iouType is not used.
/// Always returns 0; a null track appends nothing.
QEVO_API int bboxes_dists(OBJTRACK *objtracker, std::vector<QEVO::objinfo> dets,
                          std::vector<float> &distances, int iouType);

/// Position and value of the first largest entry strictly above
/// 1.17549435e-38 (the smallest normal float); when none is, idx = 0 and
/// Maxdata = 1.17549435e-38. NaN entries are never chosen. Returns 1 (outputs
/// untouched) for an empty list, else 0.
QEVO_API int find_arg_max(std::vector<float> datas, int &idx, float &Maxdata);

/// Position and value of the first smallest entry strictly below 1e9; when
/// none is, idx = 0 and Mindata = 1e9. NaN entries are never chosen. Returns 1
/// (outputs untouched) for an empty list, else 0.
QEVO_API int find_arg_min(std::vector<float> datas, int &idx, float &Mindata);

/// Azimuth (degrees) that points at image column fObjX: fAz plus the offset
/// from the centre column nW / 2 times dResolution (degrees per pixel), then
/// wrapped once: above 360 -> minus 360, then below 0 -> plus 360. nH unused.
QEVO_API float servo_calc_Az(float fAz, float fObjX, double dResolution, int nW, int nH);

/// Pitch (degrees) that points at image row fObjY (rows above the centre row
/// nH / 2 raise the pitch), wrapped once: above 180 -> minus 360, then below
/// -180 -> plus 360. nW unused.
QEVO_API float servo_calc_Pt(float fPt, float fObjY, double dResolution, int nW, int nH);

/// Image column of azimuth fObjAz (wrapped once into [0, 360]) seen from
/// azimuth fAz; the angle difference itself is not wrapped. 0 when
/// dResolution <= 1e-7. nH unused.
QEVO_API float servo_calc_ImgX(float fAz, float fObjAz, double dResolution, int nW, int nH);

/// Image row of pitch fObjPt (wrapped once into [-180, 180]) seen from pitch
/// fPt; the difference is not wrapped. 0 when dResolution <= 1e-7. nW unused.
QEVO_API float servo_calc_ImgY(float fPt, float fObjPt, double dResolution, int nW, int nH);

}  // extern "C"

/// Overlap (as the pointer form) of the track's current box _x1, _y1, _x2, _y2,
/// without any velocity, with every detection; one value per detection.
QEVO_API std::vector<float> bboxes_iou(OBJTRACK objtracker, std::vector<QEVO::objinfo> dets,
                                       int iouType);

// ---------------------------------------------------------------------------
// Suppression, activations, pixel buffers, files, strings and hashes
// ---------------------------------------------------------------------------

/// Unsigned 64-bit string hash (FNV-1a), the result of hash_.
typedef std::uint64_t hash_t;
/// FNV-1a multiplier.
constexpr hash_t prime = 0x100000001B3ULL;
/// FNV-1a offset basis: the hash of the empty string.
constexpr hash_t basis = 0xCBF29CE484222325ULL;

/// Ordering of seg_NMS: true when box1.area > box2.area.
QEVO_API bool SortAreaScore(QEVO::tag_Objinfo box1, QEVO::tag_Objinfo box2);

/// Intersection of b1 and b2 counted in inclusive pixels (width x2 - x1 + 1,
/// never below 0), divided by the area of b2 alone, (b2.x2 - b2.x1) *
/// (b2.y2 - b2.y1), without +1 and without any guard. Not symmetric: a box
/// measured against itself gives more than 1, and a b2 of zero width or height
/// gives infinity (or NaN when the intersection is empty too).
QEVO_API float seg_IOU(const QEVO::tag_Objinfo &b1, const QEVO::tag_Objinfo &b2);

extern "C" {

/// Greedy suppression in score order. Sorts `input` in place by ascending
/// score, prints "box num: %d\n" and "vScores size: %d\n" (plain lines, always
/// printed), then repeatedly picks the remaining box of highest score (of equal
/// scores, the one sorted last) and removes every remaining box, the picked one
/// included, whose overlap with it exceeds `nmsthreshold`. Overlap, with sizes
/// in inclusive pixels: type 1 intersection / (candidate area + picked area -
/// intersection), type 2 intersection / the smaller area, any other type the
/// intersection in pixels; the areas are the records' own `area` fields.
/// `output` is replaced by the picked boxes, highest score first. An empty
/// `input` returns at once: no line printed, `output` untouched.
/// Every pass removes the picked box even when its overlap with itself does not
/// exceed the threshold (an `area` field that disagrees with the corners, a
/// threshold of 1 or more, NaN values), so the routine always ends and never
/// picks more boxes than it was given. NaN scores sort below every number.
/// `input` and `output` may be the same vector.
QEVO_API void nms(std::vector<QEVO::tag_Objinfo> &input, std::vector<QEVO::tag_Objinfo> &output,
                  float nmsthreshold, int type);

/// Greedy suppression over a list sorted in place by descending score: each
/// box not yet suppressed is appended to `output` (not cleared) and suppresses
/// every later box whose intersection over union, computed from the corners in
/// inclusive pixels, exceeds `nmsthreshold` (strictly). The `area` fields are
/// not read and `type` has no effect. NaN scores sort after every number.
/// `input` and `output` may be the same vector (the survivors are then
/// appended after the sorted input).
QEVO_API void nms1(std::vector<QEVO::tag_Objinfo> &input, std::vector<QEVO::tag_Objinfo> &output,
                   float nmsthreshold, int type);

/// nms1 class by class: for each class 0 .. clsnum - 1 in turn, the boxes of
/// that class (in their order in `inputs`) are suppressed and their survivors
/// appended to `outputs` (not cleared). `inputs` is left unchanged; boxes with
/// a negative class or one not below `clsnum` are dropped. Classes without
/// boxes cost nothing, so any `clsnum` is cheap.
QEVO_API void nms_cls(std::vector<QEVO::tag_Objinfo> &inputs,
                      std::vector<QEVO::tag_Objinfo> &outputs, float nmsThresh, int clsnum);

/// Suppression of segmentation boxes. Clears `result`, sorts `boxes` by
/// descending area (SortAreaScore; NaN areas after every number), then keeps
/// the largest remaining box and removes every other box of the same class
/// whose seg_IOU(kept, other) exceeds `thr` (strictly), until none is left.
/// `result` receives the kept boxes, largest area first; `boxes` is empty on
/// return. Passed the same vector for both, it clears it and ends empty.
QEVO_API void seg_NMS(std::vector<QEVO::tag_Objinfo> &boxes, float thr,
                      std::vector<QEVO::tag_Objinfo> &result);

/// Logistic function 1 / (exp(-x) + 1) in single precision.
QEVO_API float sigmoid(float x);

/// exp(s_i) / sum_j exp(s_j) in single precision, summed in input order and
/// not shifted by the maximum (a score above about 88.72 overflows to NaN).
QEVO_API std::vector<float> softmax(std::vector<float> scores);

/// Replaces the box corners by those of a square of side max(x2 - x1, y2 - y1)
/// about the box centre (truncated to whole pixels), clipped to 0 .. srcW - 1
/// and 0 .. srcH - 1 (clipped, not shifted). Corners beyond the int range are
/// saturated.
QEVO_API void makeRect(int &x1, int &y1, int &x2, int &y2, int srcW, int srcH);

/// Copies the rectangle [x1, x2) x [y1, y2), clamped to the srcw x srch image
/// of srcc interleaved channels, into `dst` as a packed cropw x croph x srcc
/// image. An empty or wholly outside rectangle, srcc <= 0 or a null pointer
/// writes nothing.
QEVO_API void crop_img(unsigned char *src, int srcw, int srch, int srcc, int x1, int y1, int x2,
                       int y2, unsigned char *dst);

/// Copies the rectangle [x1, x2) x [y1, y2), clamped to the image, out of a
/// semi-planar 4:2:0 frame (srcw x srch luma bytes, then srch / 2 rows of srcw
/// chroma bytes) into `dstYUV`: cropw x croph luma bytes, then croph / 2
/// (truncated) rows of cropw chroma bytes, cropw x croph + (croph / 2) x cropw
/// bytes in all. Corners and sizes are used as given, without aligning them to
/// even values: chroma lines up with luma only when x1, y1, cropw and croph are
/// even. An empty or wholly outside rectangle or a null pointer writes nothing.
/// Chroma rows are srcw bytes apart whatever the parity of srcw, as in every
/// semi-planar frame of the library except the resize's (see
/// resize_bilinear_yuv420sp); so the source is srcw x srch + (srch / 2) x srcw
/// bytes, within the library's semi-planar size srcw x srch x 1.5.
/// Only bytes inside the source are read: with an odd top edge (outside the
/// callers' contract) in a frame of odd height, the chroma start falls in the
/// middle of a chroma row and the last chroma row copied would run past the
/// chroma plane; it is copied only as far as the plane reaches, and the
/// destination bytes beyond (its tail, possibly the whole row) are left
/// untouched.
QEVO_API void crop_yuv(unsigned char *srcYUV, int srcw, int srch, int x1, int y1, int x2, int y2,
                       unsigned char *dstYUV);

/// Writes the interleaved image `img` (data, width, height, depth bytes per
/// pixel; its layout fields are ignored) into `dst` surrounded by a border of
/// padleft / padright columns and padtop / padbot rows; every border pixel
/// gets values[k] (its low 8 bits) in channel k, entries beyond depth are
/// ignored. Rows are written top to bottom, each as left border, image bytes,
/// right border. When `values` has fewer than depth entries, the container's
/// std::out_of_range leaves the function at the first border pixel that needs
/// a missing entry, with the bytes before it already written; with all pads 0
/// no entry is read. Always returns 0. A negative pad, a negative size, a null
/// `dst`, or a null `data` for a non-empty image writes nothing (still 0). An
/// output without bytes (depth 0, or no columns) returns at once, whatever the
/// number of rows.
QEVO_API int pad_img(QEVO::ImgMat img, int padleft, int padright, int padtop, int padbot,
                     unsigned char *dst, std::vector<int> values);

/// Splits an interleaved 3-channel image into three planes of width x height
/// bytes: channel 0, 1, 2 into planes 0, 1, 2, or with `rbswap` channel 0 into
/// plane 2 and channel 2 into plane 0. Returns 0. Any depth other than 3 prints
/// "function only support for channels=3" (a plain line, always printed),
/// writes nothing and returns 1. A non-positive width or height converts
/// nothing and returns 0; a null pointer with pixels to move returns 1.
QEVO_API int nhwc2nchw(char *src, char *dst, int width, int height, int depth, bool rbswap);

/// Display colour of class `cls`: with n = cls + 1, entry k is
/// (200 * floor((n + 2 - k) / 3)) mod 255, each in 0 .. 254; (0, 0, 0) for
/// cls <= -1. Any int is accepted.
QEVO_API std::vector<int> get_color(int cls);

/// Appends dirpath + "/" + name for every entry of the directory other than
/// "." and ".." (files, subdirectories and links alike, in the order the
/// directory yields them; `filenames` is not cleared). Returns 0, or -1 after
/// printing "dripath not exist, path: %s\n" when the directory cannot be
/// opened (`filenames` unchanged).
QEVO_API int GetDirNames(std::string dirpath, std::vector<std::string> &filenames);

/// Replaces `tokens` by the non-empty pieces of `str` between `delim`
/// characters, in order; pieces keep their other characters unchanged.
QEVO_API void splitStr(const std::string &str, std::vector<std::string> &tokens, char delim);

/// The last non-empty '/'-separated component of `imgname` up to its first
/// dot, leading dots skipped: "/data/set1/cam0_0012.left.jpg" gives
/// "cam0_0012". Prints "imgname: %s\n" with that component. A name without a
/// non-empty component (empty, only separators) prints nothing and returns an
/// empty string; a last component made only of dots prints its line and
/// returns an empty string.
QEVO_API std::string splitKeyname(std::string imgname);

/// Loads `datalen` floats from the start of the headerless file `binname` into
/// `dst`. Returns 1 after printing "filesize=%d not match datalen =%d\n" when
/// the file's size in whole floats (size / 4) differs from `datalen` (a file of
/// 2 GiB or more always differs and is reported with the size INT_MAX), 1
/// without a line for a null `dst` with datalen > 0, and 0 otherwise. A file
/// that does not open (missing, unreadable, a directory, a null name) is not
/// reported: `dst` keeps its contents and the result is 0. At most datalen * 4
/// bytes are ever written to `dst`.
QEVO_API int loadbin2float(const char *binname, float *dst, int datalen);

/// As loadbin2float for bytes: the file must hold exactly `datalen` bytes.
QEVO_API int loadbin2uint8(const char *binname, unsigned char *dst, int datalen);

/// Creates or truncates `dstname` and writes `datalen` floats (4 bytes each,
/// machine byte order) from `src`; a short write is not detected. Returns 0,
/// or 1 after printing "file %s open failed\n" when the file cannot be
/// created (a null name is printed as "(null)"). datalen <= 0 or a null `src`
/// writes an empty file.
QEVO_API int savefloat2bin(float *src, int datalen, char *dstname);

/// 64-bit FNV-1a of the bytes of `str` up to its NUL: start at `basis`, for
/// each byte XOR it in, then multiply by `prime` modulo 2^64. A null `str`
/// hashes like the empty string, to `basis`.
QEVO_API hash_t hash_(const char *str);

/// The lower-case MD5 digest of the file, taken from the first 32 characters
/// that the system's md5sum prints for the command line
///   md5sum "<filename>" 2>/dev/null
/// run through the shell. Returns an empty string, with the debug trace
/// "Error: Failed to compute MD5 for %s", when the output is shorter than 32
/// characters (missing or unreadable file, no md5sum) and also, without running
/// anything, for a name the quoting cannot protect or md5sum would not read
/// as a file: one holding a double quote, backquote, dollar sign, backslash,
/// line break (LF or CR) or NUL, or one starting with '-'. A pipe that cannot
/// be opened gives the debug trace "Error: popen failed" and an empty string.
/// A signal that interrupts the wait for the tool's output (a handler installed
/// without SA_RESTART, such as a periodic timer's) does not cut the output
/// short: the read simply resumes.
QEVO_API std::string get_md5(const std::string &filename);

/// 0 when get_md5(filename) equals `targetMD5` exactly (case-sensitive; two
/// empty texts match), else 1 with the debug trace
/// "md5 not matched, filemd5: %s, targetmd5: %s".
QEVO_API int checkMD5(std::string filename, std::string targetMD5);

}  // extern "C"

// ---------------------------------------------------------------------------
// Tensor arithmetic
// ---------------------------------------------------------------------------
}  // namespace KIVEX

#include <memory>

class TensorMat;

namespace KIVEX {
extern "C" {

/// Takes shared ownership of two tensors for the duration of the call and
/// performs no operation on them (element-wise addition is TensorMat::add).
/// Always returns 0.
QEVO_API int add_TensorMat(std::shared_ptr<TensorMat> a, std::shared_ptr<TensorMat> b);

}  // extern "C"

}  // namespace KIVEX

#endif  // QEVO_UTILS_H
