"""Kova for Python, through its C interface: start(), track(), identify(), shutdown()."""

import ctypes
import json

_kova = ctypes.CDLL("libKovaC.so.0")
_kova.kova_settings_new.restype = _kova.kova_properties_from_json.restype = ctypes.c_void_p
STORED, SENT = 1, 2


def _text(text):
    encoded = text.encode()
    return encoded, ctypes.c_size_t(len(encoded))


def _checked(status):
    if status:
        raise ValueError(("", "invalid argument", "unknown setting", "Kova failed, see its log")[status])


def start(environment, **settings):
    """Settings by name: texts and flags, see KovaC.h."""
    handle = ctypes.c_void_p(_kova.kova_settings_new())
    try:
        for name, value in settings.items():
            if isinstance(value, bool):
                _checked(_kova.kova_settings_set_flag(handle, name.encode(), int(value)))
            else:
                _checked(_kova.kova_settings_set_text(handle, name.encode(), *_text(value)))
        _checked(_kova.kova_start(*_text(environment), handle))
    finally:
        _kova.kova_settings_free(handle)


def track(event, /, **properties):
    handle = ctypes.c_void_p(_kova.kova_properties_from_json(*_text(json.dumps(properties, allow_nan=False))))
    try:
        _checked(_kova.kova_track(*_text(event), handle))
    finally:
        _kova.kova_properties_free(handle)


def identify(name):
    _checked(_kova.kova_identify(*_text(name)))


def shutdown(seconds):
    """What became of all that was recorded: 0, STORED or STORED | SENT."""
    return _kova.kova_shutdown(ctypes.c_double(seconds))
