# Type stubs of the package qevo (the extension module qevo._qevo, re-exported).
# Array arguments are typed by the dtype the functions require; the shapes are
# in the functions' docstrings.
import os
from typing import (
    Any,
    ClassVar,
    Dict,
    Literal,
    NamedTuple,
    Optional,
    Sequence,
    Tuple,
    Union,
    overload,
)

import numpy as np
import numpy.typing as npt

__version__: str

_U8 = npt.NDArray[np.uint8]
_F32 = npt.NDArray[np.float32]
_F64 = npt.NDArray[np.float64]
# N x 6 (x1, y1, x2, y2, score, class) or N x 7 (with area) float32, or rows.
_Boxes = Union[npt.NDArray[np.float32], Sequence[Sequence[float]]]
# (width, height)
_Size = Sequence[int]

# ---- resize ----
def resize(img: _U8, size: _Size) -> _U8: ...
def resize_nv12(frame: _U8, size: _Size) -> _U8: ...
def resize_float(plane: _F32, size: _Size) -> _F32: ...

# ---- suppression and activations ----
def nms(boxes: _Boxes, threshold: float, type: int = ...) -> _F32: ...
def nms1(boxes: _Boxes, threshold: float) -> _F32: ...
def nms_cls(boxes: _Boxes, threshold: float, num_classes: int) -> _F32: ...
def seg_nms(boxes: _Boxes, threshold: float) -> _F32: ...
@overload
def sigmoid(x: float) -> float: ...
@overload
def sigmoid(x: _F32) -> _F32: ...
def softmax(scores: Union[_F32, Sequence[float]]) -> _F32: ...
def make_rect(
    x1: int, y1: int, x2: int, y2: int, width: int, height: int
) -> Tuple[int, int, int, int]: ...

# ---- pixel buffers ----
def crop(img: _U8, x1: int, y1: int, x2: int, y2: int) -> _U8: ...
def crop_nv12(frame: _U8, x1: int, y1: int, x2: int, y2: int) -> _U8: ...
def pad(img: _U8, left: int, right: int, top: int, bottom: int, values: Sequence[int]) -> _U8: ...
def nhwc_to_nchw(img: _U8, rbswap: bool = ...) -> _U8: ...
def color(cls: int) -> Tuple[int, int, int]: ...

# ---- colour conversion and network input ----
# What the three enumerations share (pybind11 enumerations, not enum.Enum).
class _Enumeration:
    def __init__(self, value: int) -> None: ...
    def __int__(self) -> int: ...
    def __index__(self) -> int: ...
    def __eq__(self, other: object) -> bool: ...
    def __ne__(self, other: object) -> bool: ...
    def __hash__(self) -> int: ...
    def __getstate__(self) -> int: ...
    def __setstate__(self, state: int) -> None: ...
    @property
    def name(self) -> str: ...
    @property
    def value(self) -> int: ...

class ColorMatrix(_Enumeration):
    BT601_LIMITED: ClassVar[ColorMatrix]
    BT601_FULL: ClassVar[ColorMatrix]
    BT709_LIMITED: ClassVar[ColorMatrix]
    __members__: ClassVar[Dict[str, ColorMatrix]]

class TensorFormat(_Enumeration):
    TENSOR_U8_CHW: ClassVar[TensorFormat]
    TENSOR_U8_HWC: ClassVar[TensorFormat]
    TENSOR_F32_CHW: ClassVar[TensorFormat]
    __members__: ClassVar[Dict[str, TensorFormat]]

class TensorFit(_Enumeration):
    FIT_LETTERBOX: ClassVar[TensorFit]
    FIT_STRETCH: ClassVar[TensorFit]
    __members__: ClassVar[Dict[str, TensorFit]]

BT601_LIMITED: ColorMatrix
BT601_FULL: ColorMatrix
BT709_LIMITED: ColorMatrix
TENSOR_U8_CHW: TensorFormat
TENSOR_U8_HWC: TensorFormat
TENSOR_F32_CHW: TensorFormat
FIT_LETTERBOX: TensorFit
FIT_STRETCH: TensorFit

class TensorPlacement(NamedTuple):
    crop_x: int
    crop_y: int
    crop_width: int
    crop_height: int
    x: int
    y: int
    width: int
    height: int

def nv12_to_rgb(
    frame: _U8, *, bgr: bool = ..., nv21: bool = ..., matrix: ColorMatrix = ...
) -> _U8: ...
def nv12_to_tensor(
    frame: _U8,
    size: _Size,
    *,
    crop: Optional[Sequence[int]] = ...,
    format: TensorFormat = ...,
    fit: TensorFit = ...,
    matrix: ColorMatrix = ...,
    mean: Union[float, Sequence[float]] = ...,
    scale: Union[float, Sequence[float]] = ...,
    pad: Union[int, Sequence[int]] = ...,
    bgr: bool = ...,
    nv21: bool = ...,
) -> Tuple[npt.NDArray[Any], TensorPlacement]: ...

# ---- trackers ----
TRACK_ESTABLISHED: int
TRACK_STALE: int
TRACK_YOUNG: int
TRACK_TENTATIVE: int
TRACK_CONFIRMED: int
TRACK_LOST: int

class Tracker:
    def __init__(self, iou_threshold: float = ...) -> None: ...
    @property
    def threshold(self) -> float: ...
    def update(self, dets: _Boxes) -> _F64: ...
    def tracks(self) -> _F64: ...
    def __len__(self) -> int: ...

class SnapshotTracker:
    def __init__(
        self, distance_threshold: float = ..., layout: Literal["nv12", "rgb"] = ...
    ) -> None: ...
    @property
    def threshold(self) -> float: ...
    def update(
        self,
        dets: _Boxes,
        patches: Optional[Sequence[Optional[_U8]]] = ...,
        az: Optional[float] = ...,
        pt: Optional[float] = ...,
    ) -> _F64: ...
    def tracks(self) -> _F64: ...
    def snapshot(self, index: int) -> Optional[_U8]: ...
    def servo_history(self, index: int) -> _F32: ...
    def __len__(self) -> int: ...

def filter_objtrackers(tracker: Tracker, sigma: float) -> Tuple[int, _F64]: ...

class MotionTracker:
    def __init__(
        self,
        *,
        high_score: float = ...,
        low_score: float = ...,
        new_track_score: float = ...,
        match_iou: float = ...,
        low_match_iou: float = ...,
        tentative_match_iou: float = ...,
        confirm_hits: int = ...,
        max_lost: int = ...,
        match_classes: bool = ...,
        position_noise: float = ...,
        velocity_noise: float = ...,
        servo_noise: float = ...,
        first_id: int = ...,
    ) -> None: ...
    def update(
        self,
        dets: _Boxes,
        *,
        az: Optional[float] = ...,
        pt: Optional[float] = ...,
        resolution: float = ...,
    ) -> _F64: ...
    def tracks(self) -> _F64: ...
    def predicted_box(self, track_id: int) -> Optional[Tuple[float, float, float, float]]: ...
    def reset(self) -> None: ...
    @property
    def skipped(self) -> int: ...
    @property
    def last_result(self) -> int: ...
    @property
    def frame_count(self) -> int: ...
    @property
    def params(self) -> Dict[str, Union[float, int, bool]]: ...
    def __len__(self) -> int: ...

# ---- servo and file helpers ----
def servo_calc_az(az: float, x: float, resolution: float, width: int, height: int) -> float: ...
def servo_calc_pt(pt: float, y: float, resolution: float, width: int, height: int) -> float: ...
def servo_calc_img_x(
    az: float, target_az: float, resolution: float, width: int, height: int
) -> float: ...
def servo_calc_img_y(
    pt: float, target_pt: float, resolution: float, width: int, height: int
) -> float: ...
def hash_(s: Union[str, bytes]) -> int: ...
def get_md5(path: Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]) -> str: ...
