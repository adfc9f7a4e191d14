#!/usr/bin/python3
"""The largest files below a directory.

    python3 largest.py ~/Documents 10

Calls the snapshot library directly, through ctypes: no binding is needed, only the records that the headers describe.
"""
import ctypes
import heapq
import os
import sys

FILE = 2  # DSNodeTypeFile


class Node(ctypes.Structure):
    """DSNode. Its fields are given below, since it and its list speak of each other."""


class Link(ctypes.Structure):
    """DSListNode, of a list whose values are nodes."""


class List(ctypes.Structure):
    """DSList. What comes after these fields is of no concern to those who only read."""
    _fields_ = [("items", ctypes.POINTER(ctypes.POINTER(Link))), ("head", ctypes.POINTER(Link)),
                ("tail", ctypes.POINTER(Link)), ("count", ctypes.c_uint64)]


Link._fields_ = [("value", ctypes.POINTER(Node)), ("next", ctypes.POINTER(Link))]
Node._fields_ = [("name", ctypes.c_char_p), ("size", ctypes.c_int64), ("type", ctypes.c_uint8),
                 ("modifiedTime", ctypes.c_int64), ("startedTime", ctypes.c_int64),
                 ("parent", ctypes.POINTER(Node)), ("children", ctypes.POINTER(List))]

library = ctypes.CDLL("libdssnapshot.so.0")
# Without these, ctypes takes pointers for integers of 32 bits.
library.DSNodeCreateDirectorySnapshot.argtypes = [ctypes.c_char_p]
library.DSNodeCreateDirectorySnapshot.restype = ctypes.POINTER(Node)
library.DSNodeDestroy.argtypes = [ctypes.POINTER(Node)]
library.DSNodeDestroy.restype = None


def files(directory, path):
    """The size and path of each regular file below a node, path and names as the bytes that they are."""
    for i in range(directory.children.contents.count):
        node = directory.children.contents.items[i].contents.value.contents
        below = path + b"/" + node.name
        if node.type == FILE:
            yield node.size, below
        yield from files(node, below)


def main():
    if len(sys.argv) != 3 or not sys.argv[2].isdigit() or not os.path.isdir(sys.argv[1]):
        sys.exit(f"usage: {sys.argv[0]} DIRECTORY COUNT")
    top = os.path.realpath(os.fsencode(sys.argv[1]))  # a scan takes absolute paths alone
    root = library.DSNodeCreateDirectorySnapshot(top)
    try:
        # Everything that is read here is copied: nothing of it may be used once the tree is destroyed.
        largest = heapq.nlargest(int(sys.argv[2]), files(root.contents, b""))
    finally:
        library.DSNodeDestroy(root)
    for size, path in largest:
        sys.stdout.buffer.write(b"%8d %s\n" % (size, path))


if __name__ == "__main__":
    main()
