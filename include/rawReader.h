/// @file rawReader.h
/// Handle on a raw frame file: a header of a caller-given length followed by
/// frames of width x height x channel samples of one element type.
#ifndef QEVO_RAWREADER_H
#define QEVO_RAWREADER_H

#include <cstdio>
#include <string>

#include "detection_type_api.h"

/// A reader is in one of three states for its whole life:
///  - refused: the element type is not AI_UINT8, AI_INT16 or AI_UINT16; no file
///    was opened, m_rawname is empty, m_F null;
///  - unopened: the type was accepted but the file did not open; m_rawname
///    holds the path, m_F is null;
///  - open: m_F is the file opened for binary reading and the geometry, header
///    length and type hold the constructor's arguments.
/// In the first two states the geometry and header length are 0 and the type
/// is AI_UINT8. The reader owns its file handle and closes it when destroyed;
/// it cannot be copied (two copies would close the handle twice).
class QEVO_API RawReader {
  private:
    int m_frameNum;  ///< always 0: frame counting is done by get_frameNum

  public:
    std::string m_rawname;      ///< the path given, or empty (see the states above)
    FILE *m_F;                  ///< the open file, or null
    int m_width;                ///< frame width in samples
    int m_height;               ///< frame height in samples
    int m_channel;              ///< samples per pixel
    int m_headerLEN;            ///< bytes before the first frame
    QEVO::DATATYPE m_datatype;  ///< element type of the samples

    /// Validates `datatype` (debug trace "RawReader only support
    /// uint8/uint16/int16" when refused), then opens `rawfile` for binary
    /// reading (debug trace "rawfile open failed" when it does not open) and,
    /// once open, stores the four numbers and the type unchecked. A null
    /// `rawfile` counts as a file that does not open (m_rawname stays empty),
    /// and so does a directory (m_rawname holds the path, m_F is null).
    RawReader(const char *rawfile, int width, int height, int channel, int headerLEN,
              QEVO::DATATYPE datatype);
    /// Closes the file if the reader holds one.
    ~RawReader();

    RawReader(const RawReader &) = delete;
    RawReader &operator=(const RawReader &) = delete;

    /// Number of whole frames after the header of an open reader: (file size -
    /// m_headerLEN) / (m_width x m_height x m_channel x element size), the
    /// element size being 1 byte for AI_UINT8 and 2 for AI_INT16 and AI_UINT16;
    /// 0 when the file is shorter than its header, at most INT_MAX. Returns -1
    /// for a reader that is not open, a negative header length or a frame size
    /// that is not positive. Neither the reader nor the file position changes.
    int get_frameNum();
    /// No behaviour: returns -1 and changes neither the reader nor the file.
    int set_seek();
    /// No behaviour: returns -1 and changes neither the reader nor the file.
    int read();
};

#endif  // QEVO_RAWREADER_H
