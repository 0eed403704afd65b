"""What the checks share: the files of the project, C++ includes, and findings. Checks run in the project root."""

import re
import subprocess
import sys
from pathlib import Path, PurePosixPath

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
HEADER_FOR_C = "include/Kova/KovaC.h"
findings = 0


def project_files(*suffixes):
    """Tracked files, and new ones that are not ignored; all of them, or those with one of the suffixes."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            check=True, capture_output=True, text=True).stdout
    paths = sorted(name for name in set(listed.split("\0")) if name and Path(name).is_file())
    return [path for path in paths if not suffixes or path.endswith(suffixes)]


def text_lines(path):
    """The lines of a text file; none for a file that is not UTF-8 text."""
    content = Path(path).read_bytes()
    if b"\0" in content:
        return []
    try:
        return content.decode().splitlines()
    except UnicodeDecodeError:
        return []


def includes(path):
    """Yields (line number, whether in angle brackets, included name)."""
    for number, line in enumerate(text_lines(path), 1):
        match = INCLUDE.match(line)
        if match:
            yield number, match[1] == "<", match[2]


def top_folder(path):
    return PurePosixPath(path).parts[0]


def finding(path, line, what):
    global findings
    findings += 1
    print(f"{path}:{line}: {what}")


def finish():
    sys.exit(1 if findings else 0)
