"""Python bindings of libQEVO.kivexC.so: the same bytes and tracks as the C++ library.

Arrays are read in place and must already have the documented dtype (TypeError
otherwise), shape and C-contiguous layout (ValueError otherwise); results are
new arrays. Box lists are N x 6 float32 arrays (x1, y1, x2, y2, score, class),
N x 7 with an area column, or lists of such rows. Pixel kernels and
suppression run without holding the GIL.

The package carries its own copy of the library beside the extension module;
``__version__`` is the library's version (qevo::version()).
"""
from . import _qevo
from ._qevo import *  # noqa: F401,F403  (the extension's public names)

__version__: str = _qevo.__version__
__all__ = sorted(name for name in dir(_qevo) if not name.startswith("_"))
