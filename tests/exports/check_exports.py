"""What the built library shows to the outside: exactly the exported names, its own name, and on
Windows the DLLs that it needs and how it may be loaded.

    check_exports.py LIBRARY NM OBJDUMP
"""
import re
import subprocess
import sys

TEXT = "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
CONFIG = "RK34zvEventAlertmanagerFormatterConfig"
EXPORTS = [
    f"_Z30zvEventFormatAlertmanagerAlertRK22zvEventNormalizedEvent{CONFIG}P{TEXT}",
    f"_Z31zvEventFormatAlertmanagerRecordPK13zvEventRecord{CONFIG}P{TEXT}",
    "zvEventFlush",
    "zvEventGetApiVersion",
    "zvEventGetLastError",
    "zvEventInitialize",
    "zvEventInstallWindowsEventSource",
    "zvEventRegisterCallback",
    "zvEventReloadConfig",
    "zvEventRemoveWindowsEventSource",
    "zvEventShutdown",
    "zvEventSubmit",
    "zvEventSubmitSimple",
    "zvEventUnregisterCallback",
]
SYSTEM_DLLS = {"KERNEL32.DLL", "ADVAPI32.DLL", "BCRYPT.DLL", "CRYPT32.DLL", "MSVCRT.DLL",
               "WS2_32.DLL"}
LOADING = {"HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"}


library, nm, objdump = sys.argv[1:]
text = subprocess.check_output([objdump, "-p", library], text=True)
if library.endswith(".dll"):
    table = text.split("[Ordinal/Name Pointer] Table")[1].split("\n\n")[0]
    assert re.findall(r"^\s*\[\s*\d+\].*?(\S+)$", table, re.MULTILINE) == EXPORTS, table
    assert re.findall(r"^Name\s+[0-9a-f]+ (\S+)$", text, re.MULTILINE) == ["zvEvent.dll"]
    needed = {name.upper() for name in re.findall(r"DLL Name: (\S+)", text)}
    assert needed and needed <= SYSTEM_DLLS, needed - SYSTEM_DLLS
    characteristics = text.split("DllCharacteristics")[1].split("SizeOfStackReserve")[0]
    assert LOADING <= set(characteristics.split()), characteristics
else:
    # Each line ends with a kind and a name; the version is a symbol of kind A, which some tools
    # write as NAME@@NAME.
    table = subprocess.check_output([nm, "-D", "--defined-only", library], text=True)
    symbols = [line.split()[-2:] for line in table.splitlines()]
    assert {name.split("@@")[0] for kind, name in symbols if kind == "A"} == {"ZVEVENT_1"}, table
    names = sorted(name for kind, name in symbols if kind != "A")
    assert names == [f"{name}@@ZVEVENT_1" for name in EXPORTS], names
    assert re.findall(r"SONAME\s+(\S+)", text) == ["libzvEvent.so.1"], text
    # Bound at run time, a call between exports would land in another copy of the library.
    relocations = subprocess.check_output([objdump, "-R", library], text=True)
    assert not re.findall(r"\bzvEvent\w*|_Z\d+zvEvent\w*", relocations), relocations
