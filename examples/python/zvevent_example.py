"""zvEvent from Python by ctypes, without anything to install or compile.

    python3 zvevent_example.py CONFIG [LIBRARY]

CONFIG is the configuration file, LIBRARY the library's file where the system does not find it by its
name. Raises an alert and clears it; a callback prints what was delivered.
"""
import ctypes
import sys

API_VERSION = 0x00010000
OK = 0
SEVERITIES = ["debug", "info", "warning", "error"]


class Record(ctypes.Structure):
    """zvEventRecord: the fields in the order of zvEvent.h. Texts are UTF-8 bytes or None."""
    _fields_ = [
        ("struct_size", ctypes.c_uint32), ("version", ctypes.c_uint32),
        ("event_id", ctypes.c_uint64), ("event_type", ctypes.c_char_p),
        ("source_id", ctypes.c_char_p), ("source_name", ctypes.c_char_p),
        ("message", ctypes.c_char_p), ("severity", ctypes.c_uint32),
        ("reserved", ctypes.c_uint32), ("action", ctypes.c_char_p),
        ("dedupe_key", ctypes.c_char_p), ("correlation_id", ctypes.c_char_p),
        ("utc_ns", ctypes.c_uint64), ("ptp_ns", ctypes.c_uint64), ("pts", ctypes.c_int64),
        ("timecode", ctypes.c_char_p), ("value", ctypes.c_double),
        ("threshold", ctypes.c_double), ("units", ctypes.c_char_p),
        ("duration_ms", ctypes.c_uint64), ("details_json", ctypes.c_char_p),
    ]


CALLBACK = ctypes.CFUNCTYPE(None, ctypes.POINTER(Record), ctypes.c_void_p)


def load(name):
    """The library with the types of its functions. Every result is an unsigned code."""
    library = ctypes.CDLL(name)
    for function, arguments in {
            "zvEventInitialize": [ctypes.c_char_p],
            "zvEventSubmit": [ctypes.POINTER(Record)],
            "zvEventRegisterCallback": [CALLBACK, ctypes.c_void_p,
                                        ctypes.POINTER(ctypes.c_uint32)],
            "zvEventGetLastError": [ctypes.c_char_p, ctypes.c_uint32],
            "zvEventShutdown": []}.items():
        getattr(library, function).argtypes = arguments
        getattr(library, function).restype = ctypes.c_uint32
    return library


def check(library, result):
    """To be called right after the call and on its thread, which the text belongs to."""
    if result != OK:
        text = ctypes.create_string_buffer(512)
        library.zvEventGetLastError(text, len(text))
        raise RuntimeError(f"{text.value.decode(errors='replace')} (0x{result:08X})")


def submit(library, message, **fields):
    record = Record(struct_size=ctypes.sizeof(Record), version=API_VERSION, severity=1,
                    message=message.encode())
    for name, value in fields.items():
        setattr(record, name, value.encode() if isinstance(value, str) else value)
    check(library, library.zvEventSubmit(record))


@CALLBACK
def show(event, _):
    """On the library's thread. Nothing may be raised here."""
    delivered = event.contents
    print(SEVERITIES[delivered.severity], delivered.action.decode(errors="replace"),
          delivered.message.decode(errors="replace"), flush=True)


def main(config, library_name="zvEvent.dll" if sys.platform == "win32" else "libzvEvent.so.1"):
    library = load(library_name)
    # `show` must stay alive as long as the library may call it; a global function does.
    callback_id = ctypes.c_uint32()
    check(library, library.zvEventRegisterCallback(show, None, callback_id))
    check(library, library.zvEventInitialize(config.encode()))
    try:
        alert = {"event_type": "temperature", "source_id": "psu-1", "value": 81.5, "units": "C"}
        submit(library, "Power supply 1 is too hot", severity=2, action="raise", **alert)
        alert["value"] = 62.0
        submit(library, "Power supply 1 is cool again", severity=2, action="clear", **alert)
    finally:
        result = library.zvEventShutdown()
    check(library, result)


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    main(*sys.argv[1:])
