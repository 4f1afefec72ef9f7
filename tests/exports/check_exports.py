"""What the built library shows to the outside: exactly what the headers declare, its own name, and
on Windows the DLLs that it needs, how it may be loaded and what its properties say.

    check_exports.py LIBRARY VERSION NM OBJDUMP FORTIFIED
"""
import pathlib
import re
import subprocess
import sys

HEADERS = pathlib.Path(__file__).resolve().parents[2] / "include" / "zvEvent"
DECLARED = sorted(name for header in HEADERS.glob("*.h")
                  for name in re.findall(r"^ZVEVENT_API \S+ (\w+)\(", header.read_text(), re.M))
SYSTEM_DLLS = {"KERNEL32.DLL", "ADVAPI32.DLL", "BCRYPT.DLL", "CRYPT32.DLL", "MSVCRT.DLL",
               "WS2_32.DLL"}
LOADING = {"HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"}


def plain(symbols):
    """The functions' names. A mangled one stands behind its length."""
    mangled = [re.match(r"_Z(\d+)(.*)", symbol) for symbol in symbols]
    return sorted(match[2][:int(match[1])] if match else symbol
                  for match, symbol in zip(mangled, symbols))


library, version, nm, objdump, fortified = sys.argv[1:]
text = subprocess.check_output([objdump, "-p", library], text=True)
if library.endswith(".dll"):
    table = text.split("[Ordinal/Name Pointer] Table")[1].split("\n\n")[0]
    exports = re.findall(r"^\s*\[\s*\d+\].*?(\S+)$", table, re.MULTILINE)
    assert re.findall(r"^Name\s+[0-9a-f]+ (\S+)$", text, re.MULTILINE) == ["zvEvent.dll"]
    needed = {name.upper() for name in re.findall(r"DLL Name: (\S+)", text)}
    assert needed and needed <= SYSTEM_DLLS, needed - SYSTEM_DLLS
    characteristics = text.split("DllCharacteristics")[1].split("SizeOfStackReserve")[0]
    assert LOADING <= set(characteristics.split()), characteristics
    # Checked returns and copies, by the texts of what they call.
    contents = pathlib.Path(library).read_bytes()
    if fortified == "1":
        assert b"stack smashing detected" in contents and b"buffer overflow detected" in contents
    # No symbols, the same bytes from the same sources, and which Windows at least.
    assert re.search(r"symbols stripped.*Time/Date\s+Thu Jan  1 00:00:00 1970\s.*"
                     r"MajorSubsystemVersion\s+10\s", text, re.S), text
    described = contents.decode("utf-16-le", "replace")
    for name, value in (("CompanyName", "zvEvent"), ("ProductName", "zvEvent"),
                        ("LegalCopyright", "The zvEvent authors"), ("FileVersion", version),
                        ("OriginalFilename", pathlib.Path(library).name)):
        assert re.search(f"{name}\0+{re.escape(value)}\0", described), name
else:
    # Each line ends with a kind and a name; the version is a symbol of kind A, which some tools
    # write as NAME@@NAME.
    table = subprocess.check_output([nm, "-D", "--defined-only", library], text=True)
    symbols = [line.split()[-2:] for line in table.splitlines()]
    assert {name.split("@@")[0] for kind, name in symbols if kind == "A"} == {"ZVEVENT_1"}, table
    exports = [name for kind, name in symbols if kind != "A"]
    assert all(name.endswith("@@ZVEVENT_1") for name in exports), exports
    exports = [name.removesuffix("@@ZVEVENT_1") for name in exports]
    assert re.findall(r"SONAME\s+(\S+)", text) == ["libzvEvent.so.1"], text
    # Nothing to overwrite once it is loaded, nothing both writable and executable, checked returns.
    assert re.search(r"RELRO .*\n.*flags r--", text) and re.search(r"FLAGS_1 +0x0*9\b", text), text
    assert re.search(r"STACK .*\n.*flags rw-", text), text
    assert "TEXTREL" not in text and "flags rwx" not in text, text
    imports = subprocess.check_output([nm, "-D", "-u", library], text=True)
    if fortified == "1":
        # _FORTIFY_SOURCE leaves no trace where the compiler sees that all bounds hold.
        assert "__stack_chk_fail" in imports, imports
    if "x86-64" in text:
        entries = subprocess.check_output([objdump, "-d", "--no-show-raw-insn", library], text=True)
        for name in exports:
            assert re.search(rf"<{name}>:\n.*endbr64", entries), name
    # Bound at run time, a call between exports would land in another copy of the library.
    relocations = subprocess.check_output([objdump, "-R", library], text=True)
    assert not re.findall(r"\bzvEvent\w*|_Z\d+zvEvent\w*", relocations), relocations
assert plain(exports) == DECLARED, plain(exports)
