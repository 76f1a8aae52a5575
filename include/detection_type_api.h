/// @file detection_type_api.h
/// Records and enumerations exchanged between the application and the library.
///
/// Every record is a plain aggregate shared in memory with the application:
/// fields are declared in this exact order, with natural alignment and no
/// packing. No record owns memory; a pointer inside a record refers to memory
/// somebody else allocated and frees.
#ifndef QEVO_DETECTION_TYPE_API_H
#define QEVO_DETECTION_TYPE_API_H

#include <cstddef>

// Marks the symbols the shared library exports; everything else is hidden.
#ifndef QEVO_API
#define QEVO_API __attribute__((visibility("default")))
#endif

namespace QEVO {

/// Camera band of a frame; carried, never interpreted.
typedef enum : unsigned int {
    IR = 1,
    VIS = 2,
} MODE;

/// Order of the dimensions in memory, outermost first (a batch dimension, where
/// there is one, comes before all three).
typedef enum : unsigned int {
    CHW = 1,  ///< planar: channel planes, rows, columns
    HWC = 2,  ///< interleaved: rows, pixels, channels
    WHC = 3,  ///< columns, rows, channels
} DATA_LAYOUT;

/// Pixel format of an 8-bit image.
typedef enum : unsigned int {
    RGB = 1,
    BGR = 2,
    RGBA = 3,
    BGRA = 4,
    NV12 = 5,  ///< Y plane, then interleaved U,V at half resolution
    NV21 = 6,  ///< Y plane, then interleaved V,U at half resolution
    GRAY = 7,
} INPUT_LAYOUT;

/// Element type of a tensor. The values and their gaps are fixed.
typedef enum : int {
    AI_DT_UNDEFINED = -1,
    AI_FLOAT = 0,
    AI_FLOAT16 = 1,
    AI_INT8 = 2,
    AI_INT32 = 3,
    AI_UINT8 = 4,
    AI_INT16 = 6,
    AI_UINT16 = 7,
    AI_UINT32 = 8,
    AI_INT64 = 9,
    AI_UINT64 = 10,
    AI_DOUBLE = 11,
    AI_BOOL = 12,
    AI_STRING = 13,
    AI_COMPLEX64 = 16,
    AI_COMPLEX128 = 17,
    AI_BF16 = 27,
} DATATYPE;

/// Byte size of one element of `type`, or 0 for a type that has none
/// (undefined, string, complex, bf16 and every value outside the table).
constexpr int datatype_size(DATATYPE type) {
    switch (type) {
        case AI_FLOAT:
        case AI_INT32:
        case AI_UINT32:
            return 4;
        case AI_FLOAT16:
        case AI_INT16:
        case AI_UINT16:
            return 2;
        case AI_INT8:
        case AI_UINT8:
        case AI_BOOL:
            return 1;
        case AI_INT64:
        case AI_UINT64:
        case AI_DOUBLE:
            return 8;
        default:
            return 0;
    }
}

/// Byte size of a semi-planar YUV 4:2:0 image: width x height x 1.5 in double
/// precision, truncated towards zero. A value that does not fit an int (only
/// possible for absurd sizes) gives -1 instead of an undefined conversion, so
/// callers that refuse negative sizes refuse it too.
constexpr int yuv420sp_size(int width, int height) {
    const double bytes = static_cast<double>(width) * height * 1.5;
    return (bytes >= 2147483648.0 || bytes <= -2147483649.0) ? -1 : static_cast<int>(bytes);
}

/// Servo and camera state of one frame. The library reads only fAz and fPt.
typedef struct tag_syncInfos {
    float fAz;                  ///< azimuth (pan) in degrees
    float fPt;                  ///< pitch (tilt) in degrees
    double focal;               ///< focal length; carried for the application
    double camera_pitch_angle;  ///< camera mounting pitch; carried
    double camera_yaw_angle;    ///< camera mounting yaw; carried
    double camera_roll_angle;   ///< camera mounting roll; carried
    double pixel_size;          ///< sensor pixel size; carried
} SyncInfos;

/// One detection or one track's box; (x1, y1) top-left, (x2, y2) bottom-right.
typedef struct tag_Objinfo {
    float x1;      ///< left edge in pixels
    float y1;      ///< top edge in pixels
    float x2;      ///< right edge in pixels
    float y2;      ///< bottom edge in pixels
    float score;   ///< detector confidence
    int classNum;  ///< class index
    int ID;        ///< the application's; copied, never read
    int trackID;   ///< written by the tracker
    float area;    ///< set by the producer of the record; never computed here
} objinfo;

/// Descriptor of one 8-bit image owned by the application.
typedef struct tag_ImgMat {
    unsigned char *data = nullptr;  ///< first pixel; the application owns the buffer
    int width = 0;                  ///< width in pixels
    int height = 0;                 ///< height in pixels
    int depth = 0;                  ///< bytes per pixel of interleaved formats
    DATA_LAYOUT layout = HWC;       ///< order of the dimensions in memory
    INPUT_LAYOUT inlayout = RGB;    ///< pixel format
    int frameID = 0;                ///< the application's frame number; carried
    MODE mode = IR;                 ///< camera band; carried
    long long timestamp = 0;        ///< the application's time stamp; carried
    long long cfg = 0;              ///< address of the frame's SyncInfos, or 0
} ImgMat;

/// Descriptor of one tensor crossing the boundary.
typedef struct tag_TenMat {
    void *data;           ///< first element; owned by whoever allocated it
    int width;            ///< width in elements
    int height;           ///< height in elements
    int depth;            ///< depth (channels) in elements
    size_t dataByte;      ///< whole buffer size (capacity when the application supplies it)
    DATATYPE type;        ///< element type
    DATA_LAYOUT layout;   ///< order of the dimensions in memory
    int elementNum;       ///< width x height x depth; a batch is not counted
    long long timestamp;  ///< the application's time stamp; carried
    long long cfg;        ///< the application's value; carried
} TenMat;

}  // namespace QEVO

#endif  // QEVO_DETECTION_TYPE_API_H
