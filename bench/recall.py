#!/usr/bin/env python3
"""How much of what a trusted reader sees in real files is found by `veska search`, by kind of file.

    scripts/recall [--sample N] [--seed N] [--worst N] [--words FILE] [--searches N] [FOLDER...]

Copies a sample of the files of each kind below the folders (without one: of /usr/share/doc and of
office documents made for the purpose) into a temporary folder, packs some of them into archives,
indexes all with the program as it is set up for a new user, and compares the words of each document:
recall is the share of the reader's words that the index has for that document, noise the share of
the index's words that the reader does not see. Random words of the reader also go through
`veska search -l`. Prints a Markdown table; --worst N also the documents with most differences,
--words NAME the words that differ in the documents whose path holds NAME.
"""
import argparse
import bz2
import collections
import concurrent.futures
import ctypes
import gzip
import lzma
import os
import random
import re
import shutil
import struct
import subprocess
import sys
import tarfile
import tempfile
import zipfile

import officecorpus
import readers

SINGLE = {"txt": "text", "html": "html", "htm": "html", "xhtml": "html", "xml": "xml", "svg": "xml",
          "docbook": "xml", "pdf": "pdf", "epub": "epub", "fb2": "fb2", "eml": "eml", "mbox": "mbox"}
SINGLE.update({kind: kind for kind in readers.OFFICE})
PACKED = {"zip": "zip", "tar": "tar", "tgz": "tar", "gz": "gz", "xz": "xz", "bz2": "bz2", "zst": "zst"}
KINDS = list(dict.fromkeys([*SINGLE.values(), *PACKED.values()]))
TEXTS = set("md rst py c h js css sh pl tex po java json yaml changelog".split())
MOST_BYTES = 8 << 20

Document = collections.namedtuple("Document", "kind path seen")


# --- The corpus

def kind_of(path):
    name = readers.extension(path)
    return SINGLE.get(name) or PACKED.get(name) or ("text" if name in TEXTS else None)


def find(folders):
    found = collections.defaultdict(list)
    for folder in folders:
        for parent, _, names in os.walk(folder):
            for name in names:
                path = os.path.join(parent, name)
                kind = kind_of(name)
                if kind and os.path.isfile(path) and not os.path.islink(path):
                    found[kind].append(path)
    return found


def sampled(found, options):
    """The files of the sample, by kind; the same for the same folders and seed."""
    sample = {}
    for kind, paths in found.items():
        paths = sorted(p for p in paths if 0 < os.path.getsize(p) <= 2 * MOST_BYTES)
        random.Random(options.seed).shuffle(paths)
        sample[kind] = paths[:options.sample]
    return sample


def copy(sample, corpus):
    number = 0
    for kind, paths in sample.items():
        os.makedirs(f"{corpus}/{kind}")
        for path in paths:
            number += 1
            name = re.sub(r"[^\w.+-]", "_", os.path.basename(path))
            shutil.copyfile(path, f"{corpus}/{kind}/{number:05}-{name}")


def add_packed(sample, corpus):
    """Archives and compressed files of kinds that the folders lack, and single messages."""
    plain = (sample.get("text", []) + sample.get("html", []))[:2 * 40]
    packers = {"xz": lzma.open, "bz2": bz2.open, "gz": gzip.open}
    for kind in ("xz", "bz2", "gz", "zst", "zip", "tar"):
        if sample.get(kind) or not plain:
            continue
        os.makedirs(f"{corpus}/{kind}")
        if kind == "zip":
            with zipfile.ZipFile(f"{corpus}/zip/pack.zip", "w", zipfile.ZIP_DEFLATED) as archive:
                for path in plain:
                    archive.write(path)
        elif kind == "tar":
            with tarfile.open(f"{corpus}/tar/pack.tar", "w") as archive:
                for path in plain:
                    archive.add(path, recursive=False)
        for number, path in enumerate(plain if kind in (*packers, "zst") else []):
            target = f"{corpus}/{kind}/{number:05}-{os.path.basename(path)}.{kind}"
            if kind == "zst":
                subprocess.run(["zstd", "-q", "-f", path, "-o", target], check=True)
            else:
                with packers[kind](target, "wb") as file:
                    file.write(open(path, "rb").read())
    if not sample.get("eml") and sample.get("mbox"):
        os.makedirs(f"{corpus}/eml")
        for path in sample["mbox"]:
            for number, message in list(readers.messages_of(path))[:20]:
                name = f"{corpus}/eml/{os.path.basename(path)}-{number}.eml"
                with open(name, "wb") as file:
                    file.write(message.as_bytes(unixfrom=False, policy=message.policy.clone(
                        refold_source="none")))


# --- What the readers see

def documents(kind, path, work, office):
    """The documents in a file, with the words that a reader sees."""
    if kind in PACKED.values():
        for name, data in readers.unpacked(path):
            text = readers.simple_text(name, data)
            if text is not None:
                yield Document(kind, f"{path}/{name}", readers.words(text))
        return
    if kind == "mbox":
        for number, message in readers.messages_of(path):
            text = readers.mail_text(message)
            if text is not None:
                yield Document(kind, f"{path}/{number}", readers.words(text))
        return
    text = read(kind, path, office)
    if text is not None:
        yield Document(kind, path, readers.words(text))


def read(kind, path, office):
    if kind in readers.OFFICE:
        return office.text(path)
    if kind in ("pdf", "epub"):
        return getattr(readers, kind + "_of")(path)
    with open(path, "rb") as file:
        return readers.mail_text(readers.parse_mail(file)) if kind == "eml" else \
            readers.simple_text(path, file.read())


def all_documents(corpus, work, options):
    files = [(kind, f"{corpus}/{kind}/{name}") for kind in KINDS if os.path.isdir(f"{corpus}/{kind}")
             for name in sorted(os.listdir(f"{corpus}/{kind}"))]
    office = readers.Office([path for kind, path in files if kind in readers.OFFICE], work)
    read_in = collections.Counter()
    unread = collections.Counter()

    def collect(item):
        kind, path = item
        found = []
        try:
            if kind in PACKED.values() or kind == "mbox":
                if read_in[kind] >= options.sample:
                    return []
            for document in documents(kind, path, work, office):
                found.append(document)
                read_in[kind] += 1
                if read_in[kind] >= options.sample and kind in ("mbox", *PACKED.values()):
                    break
        except Exception as error:  # whatever a reader makes of a damaged file
            unread[kind] += 1
            if options.worst:
                print(f"the reader fails: {path}: {error!r}"[:200], file=sys.stderr)
        return found

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return [d for found in pool.map(collect, files) for d in found], unread


# --- What the index holds

class Index:
    """The saved tables, through the library's own functions."""

    def __init__(self, library, folder):
        self.lib = ctypes.CDLL(library)
        pointer, number, text = ctypes.c_void_p, ctypes.c_ulong, ctypes.c_char_p
        for name, result, *arguments in (
                ("vCreateNewIndex", pointer, ctypes.c_bool, text), ("vidxGetFiles", pointer, pointer),
                ("vidxGetWords", pointer, pointer), ("vidxGetLinks", pointer, pointer),
                ("vfsGetFirst", number, pointer), ("vfsGetNext", number, pointer, number),
                ("vfsGetInfo", pointer, pointer, number), ("vfiGetFileName", text, pointer),
                ("vfiGetFileParentID", ctypes.c_uint32, pointer), ("vtsGetFirst", number, pointer),
                ("vtsGetNext", number, pointer, number), ("vtsGetText", text, pointer, number),
                ("vtsGetData", pointer, pointer, number), ("vflGetNextList", number, pointer, number),
                ("vflGetFile", number, pointer, ctypes.POINTER(ctypes.c_uint32))):
            function = getattr(self.lib, name)
            function.restype, function.argtypes = result, arguments
        self.index = self.lib.vCreateNewIndex(False, folder.encode())
        if not self.index:
            sys.exit(f"cannot open {folder}")

    def paths(self):
        """Path of each record, members behind their archive, by number of the record."""
        lib, files = self.lib, self.lib.vidxGetFiles(self.index)
        names, file = {}, lib.vfsGetFirst(files)
        while file:
            info = lib.vfsGetInfo(files, file)
            names[file] = (lib.vfiGetFileParentID(info), lib.vfiGetFileName(info).decode("utf-8", "replace"))
            file = lib.vfsGetNext(files, file)

        def path(file):
            parent, name = names[file]
            return f"{path(parent)}/{name}" if parent in names else name

        return {file: path(file) for file in names}

    def words_by_file(self):
        lib, words, links = self.lib, self.lib.vidxGetWords(self.index), self.lib.vidxGetLinks(self.index)
        kept, cursor = collections.defaultdict(set), (ctypes.c_uint32 * 2)()
        word = lib.vtsGetFirst(words)
        while word:
            text = lib.vtsGetText(words, word).decode()
            pending, _, chunk = struct.unpack("<I4sI", ctypes.string_at(lib.vtsGetData(words, word), 12))
            kept[pending].add(text)
            while chunk:
                cursor[0] = chunk
                while file := lib.vflGetFile(links, cursor):
                    kept[file].add(text)
                chunk = lib.vflGetNextList(links, cursor[0])
            word = lib.vtsGetNext(words, word)
        return kept


def message_path(path):
    """Messages of a mailbox are compared by number: their names hold sender and time."""
    return re.sub(r"(\.mbox)/.*?(\d+)\.eml$", r"\1/\2", path)


class Veska:
    def __init__(self, build, work, corpus):
        self.program, self.home = f"{build}/veska", f"{work}/home"
        self.environment = dict(os.environ, LC_ALL="C.UTF-8", NO_COLOR="1")
        self.run("index", corpus)
        index = Index(f"{build}/libveska.so", os.path.realpath(f"{self.home}/indexes/default/tables") + "/")
        kept = index.words_by_file()
        self.kept = {message_path(path): kept[file] for file, path in index.paths().items()}

    def run(self, *arguments):
        return subprocess.run([self.program, "--home", self.home, *arguments], env=self.environment,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout.decode("utf-8", "replace")

    def finds(self, word, path):
        return path in map(message_path, self.run("search", "-q", "-l", "--", word).splitlines())


# --- The table

def table(found, veska, options):
    rows = []
    for kind in KINDS:
        mine = [d for d in found if d.kind == kind]
        if not mine:
            continue
        seen = sum(len(d.seen) for d in mine)
        kept = sum(len(veska.kept.get(d.path, ())) for d in mine)
        both = sum(len(d.seen & veska.kept.get(d.path, set())) for d in mine)
        asked = sorted((word, d.path) for d in mine for word in d.seen)
        asked = random.Random(options.seed).sample(asked, min(options.searches, len(asked)))
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            answered = sum(pool.map(lambda ask: veska.finds(*ask), asked))
        rows.append((kind, len(mine), seen, both, kept, answered, len(asked)))
    print("| kind | documents | words of the reader | recall % | noise % | found by search |")
    print("|---|--:|--:|--:|--:|--:|")
    for kind, count, seen, both, kept, answered, asked in rows:
        print(f"| {kind} | {count} | {seen} | {100 * both / max(seen, 1):.2f} |"
              f" {100 * (kept - both) / max(kept, 1):.2f} | {answered} of {asked} |")


def worst(found, veska, count):
    for kind in KINDS:
        mine = [(len(d.seen ^ veska.kept.get(d.path, set())), d) for d in found if d.kind == kind]
        for differences, d in sorted(mine, key=lambda m: (-m[0], m[1].path))[:count]:
            kept = veska.kept.get(d.path, set())
            if differences:
                print(f"{kind}: missed {len(d.seen - kept)} of {len(d.seen)}, noise {len(kept - d.seen)}:"
                      f" {d.path}")


def differing(found, veska, name):
    for d in found:
        if name in d.path:
            kept = veska.kept.get(d.path, set())
            print(f"{d.path}\n  missed: {' '.join(sorted(d.seen - kept))}"
                  f"\n  noise: {' '.join(sorted(kept - d.seen))}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--sample", type=int, default=300, help="documents of a kind")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--searches", type=int, default=200, help="by the program, of a kind")
    parser.add_argument("--worst", type=int, default=0, help="documents of each kind to list")
    parser.add_argument("--words", help="list the differing words of documents of this name")
    parser.add_argument("--kinds", help="these alone, with commas")
    parser.add_argument("--keep", help="folder for corpus and index, which stay")
    parser.add_argument("build", help=argparse.SUPPRESS)
    parser.add_argument("folders", nargs="*")
    options = parser.parse_intermixed_args()
    with tempfile.TemporaryDirectory() as temporary:
        work = os.path.realpath(options.keep or temporary)
        corpus = f"{work}/corpus"
        os.makedirs(corpus)
        folders = options.folders
        if not folders:
            officecorpus.make(f"{work}/office", f"{work}/profile")
            folders = ["/usr/share/doc", f"{work}/office"]
        found = find(folders)
        if options.kinds:
            found = {kind: found[kind] for kind in options.kinds.split(",")}
        sample = sampled(found, options)
        copy(sample, corpus)
        if not options.kinds:
            add_packed(sample, corpus)
        veska = Veska(options.build, work, corpus)
        found, unread = all_documents(corpus, work, options)
        table(found, veska, options)
        if unread:
            print("\nnot read by the reader:", ", ".join(f"{n} {kind}" for kind, n in unread.items()))
        worst(found, veska, options.worst)
        if options.words is not None:
            differing(found, veska, options.words)


if __name__ == "__main__":
    main()
