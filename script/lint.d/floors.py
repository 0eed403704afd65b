"""The floors of platform and library: which folder stands above which, and what each of them includes."""

from pathlib import PurePosixPath

from project_files import includes, project_files

# From the ground up. A folder includes from the floors below it and from itself; folders on one floor do not
# include each other. What lies deeper belongs to the folder that is listed.
FLOORS = [
    ["platform/runtime"],
    ["platform/foundation"],
    ["platform/dispatch"],
    ["platform/graphics", "platform/net"],
    ["platform/drawing", "platform/sockets", "platform/uikit"],
    ["platform/linux", "platform/simulator"],
    ["platform/qt"],
    ["include/Kova"],
    ["src/telemetry"],
    ["src/core"],
    ["src/pageviews", "src/storage/store"],
    ["src/identity"],
    ["src/events"],
    ["src/autocapture", "src/identity/lifecycle", "src/storage"],
    ["src/pageviews/recorder", "src/visualizer"],
    ["src/core/tracker"],
    ["qt", "src/c"],
]
LEVEL = {folder: level for level, folders in enumerate(FLOORS) for folder in folders}
ROOTS = ("platform", "include", "src", "qt")


def has_a_floor(path):
    """Whether `path` belongs to a part that is built in floors."""
    return PurePosixPath(path).parts[0] in ROOTS


def folder_of(path):
    """The listed folder that `path` belongs to, or None."""
    return next((str(parent) for parent in PurePosixPath(path).parents if str(parent) in LEVEL), None)


def written_from_root(name):
    """An included name as a path of the project: the library's visible headers are included without their first folder."""
    return f"include/{name}" if name.startswith("Kova/") else name


def included_folders():
    """folder -> the listed folders that its files include, itself apart."""
    below = {folder: set() for folder in LEVEL}
    for path in filter(has_a_floor, project_files(".h", ".cpp")):
        folder = folder_of(path)
        if folder:
            targets = {folder_of(written_from_root(name)) for _, _, name in includes(path)}
            below[folder] |= targets - {folder, None}
    return below


def drawing():
    """The folders from the roof down, and beside each the folders of its own part that it includes, nearest first."""
    below = included_folders()
    lines = []
    for level, folders in reversed(list(enumerate(FLOORS))):
        for folder in folders:
            # What all of the library may use is not repeated at each of its folders.
            part = {"include": "platform/", "qt": "src/"}.get(folder.split("/")[0], folder.split("/")[0] + "/")
            seen = sorted(below[folder], key=lambda other: (-LEVEL[other], other))
            names = [other.removeprefix(part) for other in seen if other.startswith(part)]
            floor = f"{level + 1:2}" if folder == folders[0] else "  "
            lines.append(f"{floor}  {folder:24} {'  '.join(names)}".rstrip())
    return lines


DRAWN_IN = "docs/architecture.md"
FIRST_LINE, LAST_LINE = "```floors", "```"


def split_document(lines):
    """The lines before the drawing, the drawing, and the lines after it."""
    begin = lines.index(FIRST_LINE) + 1
    end = lines.index(LAST_LINE, begin)
    return lines[:begin], lines[begin:end], lines[end:]
