"""Where factors stand that memory has no room for."""

from __future__ import annotations

import atexit
import os
import shutil
import tempfile
import threading

from . import _lintrix

_PATH, _CORE, _KEEP = (f"MKL_PARDISO_OOC_{what}" for what in ("PATH", "MAX_CORE_SIZE", "KEEP_FILE"))
_SHARE_OF_MEMORY = 0.75  # the rest is for the system, and for what is forecast too low
_turn = threading.Lock()
_own_core = None


def open_place(left: float) -> None:
    """Says where the files go and how much memory is used beside them, of `left` bytes, where the environment does not.

    One folder serves the whole process: the names of the files are numbered.
    """
    global _own_core
    with _turn:
        path, megabytes, keeps = _lintrix.out_of_core_configuration()
        if megabytes is None or os.environ.get(_CORE) == _own_core:
            os.environ[_CORE] = _own_core = str(max(1, min(int(_SHARE_OF_MEMORY * left / 2**20), 2**31 - 1)))
        if keeps is None:
            os.environ[_KEEP] = "0"
        if not path and not keeps:
            folder = tempfile.mkdtemp(prefix="lintrix", dir=os.environ.get("TMPDIR") or "/var/tmp")
            atexit.register(_remove, folder, os.getpid())
            os.environ[_PATH] = os.path.join(folder, "factor")


def _remove(folder: str, owner: int) -> None:
    if os.getpid() == owner:  # and not a child of a fork
        shutil.rmtree(folder, ignore_errors=True)
