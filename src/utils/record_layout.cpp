// Compile-time checks of the interchange records' memory layout.
//
// The application and the library share these records in memory, so a field
// moved, widened or re-aligned breaks every caller silently. On 64-bit Linux
// (LP64: 32-bit int, 64-bit long and pointers) the sizes and offsets below are
// fixed; the build fails if any of them changes.
#include <climits>
#include <cstddef>
#include <type_traits>

#include "detection_type_api.h"

#if defined(__LP64__) && CHAR_BIT == 8

namespace {

using namespace QEVO;

// Enumerations: plain 32-bit enumerations, unsigned except DATATYPE.
static_assert(sizeof(MODE) == 4 && std::is_unsigned<std::underlying_type<MODE>::type>::value,
              "MODE must be an unsigned 32-bit enumeration");
static_assert(sizeof(DATA_LAYOUT) == 4 &&
                  std::is_unsigned<std::underlying_type<DATA_LAYOUT>::type>::value,
              "DATA_LAYOUT must be an unsigned 32-bit enumeration");
static_assert(sizeof(INPUT_LAYOUT) == 4 &&
                  std::is_unsigned<std::underlying_type<INPUT_LAYOUT>::type>::value,
              "INPUT_LAYOUT must be an unsigned 32-bit enumeration");
static_assert(sizeof(DATATYPE) == 4 && std::is_signed<std::underlying_type<DATATYPE>::type>::value,
              "DATATYPE must be a signed 32-bit enumeration");

// Records: plain data, copied byte for byte by assignment.
static_assert(std::is_trivially_copyable<SyncInfos>::value, "SyncInfos must be plain data");
static_assert(std::is_trivially_copyable<objinfo>::value, "objinfo must be plain data");
static_assert(std::is_trivially_copyable<ImgMat>::value, "ImgMat must be plain data");
static_assert(std::is_trivially_copyable<TenMat>::value, "TenMat must be plain data");
static_assert(std::is_standard_layout<SyncInfos>::value &&
                  std::is_standard_layout<objinfo>::value &&
                  std::is_standard_layout<ImgMat>::value && std::is_standard_layout<TenMat>::value,
              "records must have standard layout");

// tag_syncInfos: two floats, five doubles.
static_assert(offsetof(SyncInfos, fAz) == 0, "SyncInfos::fAz");
static_assert(offsetof(SyncInfos, fPt) == 4, "SyncInfos::fPt");
static_assert(offsetof(SyncInfos, focal) == 8, "SyncInfos::focal");
static_assert(offsetof(SyncInfos, camera_pitch_angle) == 16, "SyncInfos::camera_pitch_angle");
static_assert(offsetof(SyncInfos, camera_yaw_angle) == 24, "SyncInfos::camera_yaw_angle");
static_assert(offsetof(SyncInfos, camera_roll_angle) == 32, "SyncInfos::camera_roll_angle");
static_assert(offsetof(SyncInfos, pixel_size) == 40, "SyncInfos::pixel_size");
static_assert(sizeof(SyncInfos) == 48 && alignof(SyncInfos) == 8, "SyncInfos size");

// tag_Objinfo: nine 4-byte fields.
static_assert(offsetof(objinfo, x1) == 0, "objinfo::x1");
static_assert(offsetof(objinfo, y1) == 4, "objinfo::y1");
static_assert(offsetof(objinfo, x2) == 8, "objinfo::x2");
static_assert(offsetof(objinfo, y2) == 12, "objinfo::y2");
static_assert(offsetof(objinfo, score) == 16, "objinfo::score");
static_assert(offsetof(objinfo, classNum) == 20, "objinfo::classNum");
static_assert(offsetof(objinfo, ID) == 24, "objinfo::ID");
static_assert(offsetof(objinfo, trackID) == 28, "objinfo::trackID");
static_assert(offsetof(objinfo, area) == 32, "objinfo::area");
static_assert(sizeof(objinfo) == 36 && alignof(objinfo) == 4, "objinfo size");

// tag_ImgMat: pointer, seven 4-byte fields, two 64-bit integers.
static_assert(offsetof(ImgMat, data) == 0, "ImgMat::data");
static_assert(offsetof(ImgMat, width) == 8, "ImgMat::width");
static_assert(offsetof(ImgMat, height) == 12, "ImgMat::height");
static_assert(offsetof(ImgMat, depth) == 16, "ImgMat::depth");
static_assert(offsetof(ImgMat, layout) == 20, "ImgMat::layout");
static_assert(offsetof(ImgMat, inlayout) == 24, "ImgMat::inlayout");
static_assert(offsetof(ImgMat, frameID) == 28, "ImgMat::frameID");
static_assert(offsetof(ImgMat, mode) == 32, "ImgMat::mode");
static_assert(offsetof(ImgMat, timestamp) == 40, "ImgMat::timestamp");
static_assert(offsetof(ImgMat, cfg) == 48, "ImgMat::cfg");
static_assert(sizeof(ImgMat) == 56 && alignof(ImgMat) == 8, "ImgMat size");

// tag_TenMat: padding after depth and after elementNum.
static_assert(offsetof(TenMat, data) == 0, "TenMat::data");
static_assert(offsetof(TenMat, width) == 8, "TenMat::width");
static_assert(offsetof(TenMat, height) == 12, "TenMat::height");
static_assert(offsetof(TenMat, depth) == 16, "TenMat::depth");
static_assert(offsetof(TenMat, dataByte) == 24, "TenMat::dataByte");
static_assert(offsetof(TenMat, type) == 32, "TenMat::type");
static_assert(offsetof(TenMat, layout) == 36, "TenMat::layout");
static_assert(offsetof(TenMat, elementNum) == 40, "TenMat::elementNum");
static_assert(offsetof(TenMat, timestamp) == 48, "TenMat::timestamp");
static_assert(offsetof(TenMat, cfg) == 56, "TenMat::cfg");
static_assert(sizeof(TenMat) == 64 && alignof(TenMat) == 8, "TenMat size");

}  // namespace

#endif  // __LP64__
