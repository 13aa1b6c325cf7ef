#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets that Python's plistlib and plain text
can make (corpus/<target>/), and the AppImages mksquashfs makes. The seeds of
PropertyListGuard are written by hand (libplist's reading of quotes, DOCTYPEs and
empty roots). The command files written by the helper's own archiver
(corpus/FileMessage/project-*.msgfortwhelp) come from "tarnwick-msg exclude --no-send
PATH..." and "tarnwick-msg clear --no-send". Run from anywhere:

    python3 tests/fuzz/make_seeds.py
"""
import datetime
import json
import os
import pathlib
import plistlib
import struct
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(HERE, "corpus")
FIXTURES = os.path.join(HERE, "..", "messaging", "fixtures")
HEADER = b"---=== Tarnwick Watcher Message v2 ===---\n"


def write(target, name, data):
    folder = os.path.join(CORPUS, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as out:
        out.write(data if isinstance(data, bytes) else data.encode("utf-8"))


def xml_uids(value):
    """XML has no UID type: Cocoa writes one as a dictionary {"CF$UID": n}."""
    if isinstance(value, plistlib.UID):
        return {"CF$UID": value.data}
    if isinstance(value, dict):
        return {key: xml_uids(item) for key, item in value.items()}
    if isinstance(value, list):
        return [xml_uids(item) for item in value]
    return value


def file_message_seeds():
    # Keyed archives from the messaging tests' encoder, binary as the main
    # application writes them, and one also as XML (readers accept both).
    for name in sorted(os.listdir(FIXTURES)):
        if name.endswith(".msgfortwhelp"):
            with open(os.path.join(FIXTURES, name), "rb") as source:
                data = source.read()
            write("FileMessage", "plistlib-" + name, data)
            if name.startswith("exclude-mutable"):
                write("FileMessage", "plistlib-xml-" + name, plistlib.dumps(xml_uids(plistlib.loads(data))))


def watcher_message_seeds():
    items = [
        {"type": "3", "size": "4096", "path": "/home/u/Library/Caches/com.example.app", "bundleId": "com.example.app"},
        {"type": "0", "path": "/home/u/.local/share/Trash/files/Example.app", "bundleId": "com.example.app"},
    ]
    write("WatcherMessage", "two-items", HEADER + json.dumps({"items": items}, separators=(",", ":")).encode())
    odd = [{"type": 17, "size": 1e300, "path": "/x", "bundleId": "COM.Upper"}, {"type": "18", "path": "/y", "bundleId": "a"},
           {"type": True, "path": "/\u00e9\u4e2d", "bundleId": "b", "size": "-5"}, [], "text"]
    write("WatcherMessage", "odd-values", HEADER + json.dumps({"items": odd}).encode())
    write("WatcherMessage", "no-items", HEADER + b'{"items":[]}')
    write("WatcherMessage", "header-only", HEADER)


def bundle_seeds():
    info = {
        "CFBundleExecutable": "Example",
        "CFBundleIdentifier": "com.example.Example",
        "CFBundleName": "Example",
        "CFBundlePackageType": "APPL",
        "CFBundleShortVersionString": "1.2.3",
        "LSMinimumSystemVersion": "10.13",
        "LSUIElement": True,
        "CFBundleDocumentTypes": [{"CFBundleTypeExtensions": ["ex", "exm"], "CFBundleTypeRole": "Editor"}],
        "NSHumanReadableCopyright": "\u00a9 2024 Example \u4f8b",
    }
    write("Bundle", "info-xml.plist", plistlib.dumps(info))
    write("Bundle", "info-binary.plist", plistlib.dumps(info, fmt=plistlib.FMT_BINARY))
    every = {
        "CFBundleIdentifier": 42,
        "CFBundleExecutable": "../../bin/sh",
        "date": datetime.datetime(2001, 1, 1, 12, 30),
        "data": b"\x00\x01\xfe",
        "real": 3.25,
        "big": 2**63 + 5,
        "negative": -7,
        "uid": plistlib.UID(3),
        "nested": [[[{"a": [1, 2, {"b": "c"}]}]]],
    }
    write("Bundle", "every-type-binary.plist", plistlib.dumps(every, fmt=plistlib.FMT_BINARY))
    del every["uid"]
    write("Bundle", "every-type-xml.plist", plistlib.dumps(every))
    write("Bundle", "root-array.plist", plistlib.dumps(["CFBundleIdentifier", "x"], fmt=plistlib.FMT_BINARY))


def markup_seeds():
    samples = {
        "description": "<b>Example App</b> leaves <b>12.3 MB</b> of service files behind.<br>"
                       "Remove them with <b>Complete Uninstall</b>.",
        "escaped-name": "<b>R&amp;D &lt;beta> Tools</b> and <b>2</b> other applications",
        "entities": "&quot;&amp;&apos;&lt;&gt;&nbsp;&amp;lt;&#65;",
        "nesting": "<b><i>x</i></b> <b><i>x</b>y</i> x</b>y x<b>y <br/><br>",
        "attributes": "<a href=\"https://example.com/?q=&quot;x&quot;\" class='c' id=>link</a>",
        "unterminated": "text <b unterminated & no semicolon",
        "unicode": "\u00c9t\u00e9 \u4e2d\u6587 \U0001F600 <b>\u05e2\u05d1\u05e8\u05d9\u05ea</b>",
    }
    for name, text in samples.items():
        write("AtributikaBridge", name, text)


def colour_seeds():
    for name, text in {"rgb": "#FFF", "argb": "8F00", "rrggbb": "#F4F5FA", "aarrggbb": "#80468DD6",
                       "lower": "deadbe", "hashes": "#12#34#56", "not-hex": "#GG00ZZ", "spaces": " 1 2 3 4 ",
                       "five": "#12345", "empty": "", "unicode": "#\uff10\uff11\uff12"}.items():
        write("ColorExtra", name, text)


def app_image(files, *options):
    """An ELF header whose section table ends at 128, then mksquashfs's image of the
    files (contents "-> target" make a symbolic link)."""
    with tempfile.TemporaryDirectory() as work:
        for name, contents in files.items():
            path = pathlib.Path(work, "root", name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.symlink_to(contents[3:]) if contents.startswith("-> ") else path.write_text(contents)
        subprocess.run(["mksquashfs", work + "/root", work + "/image", "-root-owned", "-quiet", "-no-progress", "-nopad",
                        "-mkfs-time", "0", "-all-time", "0", *options], check=True, stdout=subprocess.DEVNULL)
        squashfs = pathlib.Path(work, "image").read_bytes()
    header = bytearray(128)
    header[0:11] = b"\x7fELF\x02\x01\x01\x00AI\x02"
    struct.pack_into("<QxxxxxxxxxxHHH", header, 0x28, 64, 0, 64, 1)
    return bytes(header) + squashfs


def app_image_seeds():
    entry = ("[Desktop Entry]\nType=Application\nName=Foo Viewer\nName[de]=Foo\nIcon=org.example.Foo\n"
             "Exec=\"/opt/My Apps/foo\" --new %F 100%%\nTryExec=foo\nStartupWMClass=FooWin\n")
    plain = {"org.example.Foo.desktop": entry, "AppRun": "#!/bin/sh\n"}
    write("AppImage", "uncompressed", app_image(plain, "-noI", "-noD", "-noF", "-noX"))
    for compression in ("gzip", "xz", "zstd", "lz4"):
        write("AppImage", compression, app_image(plain, "-comp", compression))
    linked = {"foo.desktop": "-> usr/share/applications/foo.desktop", "usr/share/applications/foo.desktop": entry}
    write("AppImage", "linked-uncompressed", app_image(linked, "-noI", "-noD", "-noF", "-noX"))
    write("AppImage", "two-entries", app_image({"a.desktop": entry, "b.desktop": entry}, "-noI", "-noD", "-noF"))
    write("AppImage", "desktop-entry", "\ufeff[Desktop Entry]\r\n" + entry.split("\n", 1)[1] + "[Desktop Action x]\nExec=y\n")
    write("AppImage", "trash-info", "[Trash Info]\nPath=/home/u/My%20Apps/F%C3%A9.AppImage\nDeletionDate=2024-01-01T00:00:00\n")


def main():
    file_message_seeds()
    watcher_message_seeds()
    bundle_seeds()
    markup_seeds()
    colour_seeds()
    app_image_seeds()
    return 0


if __name__ == "__main__":
    sys.exit(main())
