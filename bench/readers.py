"""The readers that scripts/recall trusts: what a document says, by programs that are not ours.

w3m for HTML and books, pdftotext, soffice for office documents, python's own packages for mail, XML
and archives. And the rules of docs/unicode.md by which text becomes words, written anew.
"""
import bz2
import csv
import email
import email.policy
import glob
import gzip
import io
import lzma
import os
import re
import subprocess
import tarfile
import tempfile
import unicodedata
import xml.etree.ElementTree
import zipfile

# --- Words

PAIRED = re.compile(
    "[\u0e01-\u0e3a\u0e40-\u0e4e\u0e81-\u0ece\u0edc-\u0edf\u1780-\u17d3\u17d7\u17dc\u17dd\u3005-\u3007"
    "\u3021-\u3029\u3031-\u3035\u3038-\u303c\u3041-\u309f\u30a1-\u30fa\u30fc-\u30ff\u31f0-\u31ff"
    "\u3400-\u4dbf\u4e00-\u9fff\uf900-\ufaff\uff66-\uff9f\U00020000-\U000323af]")
# Default_Ignorable_Code_Point, but the space of no width, which separates.
IGNORED = re.compile("[\u00ad\u034f\u061c\u115f\u1160\u17b4\u17b5\u180b-\u180f\u200c-\u200f"
                     "\u202a-\u202e\u2060-\u206f\u3164\ufe00-\ufe0f\ufeff\uffa0\ufff0-\ufff8"
                     "\U000e0000-\U000e0fff]")
SHORTEST, LONGEST = 2, 64


class Separators(dict):
    """For str.translate: every character that is no letter, digit or mark becomes a blank."""

    def __missing__(self, code):
        category = unicodedata.category(chr(code))
        wordly = category[0] in "LM" or category in ("Nd", "Nl")
        self[code] = chr(code) if wordly else " "
        return self[code]


SEPARATORS = Separators()


def words(text):
    """The set of words that an index is to hold of a text."""
    text = IGNORED.sub("", text).translate(SEPARATORS)
    found = set()
    for run in set(text.split()):
        run = unicodedata.normalize("NFC", run)
        for piece, paired in pieces(run):
            piece = unicodedata.normalize("NFC", piece.casefold())
            if paired:
                found.update([piece[i:i + 2] for i in range(len(piece) - 1)] or [piece])
            elif SHORTEST <= len(piece) <= LONGEST:
                found.add(piece)
    return found


def pieces(run):
    """A run of word characters in pieces of one kind: written without blanks, or not."""
    if run.isascii() or not PAIRED.search(run):
        while run and unicodedata.category(run[0])[0] == "M":
            run = run[1:]  # a mark begins no word
        return [(run, False)] if run else []
    result, piece, paired = [], "", None
    for c in run:
        kind = paired if unicodedata.category(c)[0] == "M" and not PAIRED.match(c) else \
            PAIRED.match(c) is not None
        if kind is None:
            continue
        if kind != paired and piece:
            result.append((piece, paired))
            piece = ""
        paired = kind
        piece += c
    return result + [(piece, paired)] if piece else result


# --- Text and mark-up

DECLARED = re.compile(rb"""<\?xml[^>]*encoding=["']([\w.:-]+)|<meta[^>]*charset=["']?([\w.:-]+)""", re.I)


def decode(data, declared=None):
    for mark, name in ((b"\xef\xbb\xbf", "utf-8-sig"), (b"\xff\xfe", "utf-16"), (b"\xfe\xff", "utf-16")):
        if data.startswith(mark):
            return data.decode(name, "replace")
    for name in ("utf-8", declared):
        try:
            if name:
                name = {"iso-8859-1": "cp1252", "latin1": "cp1252", "us-ascii": "cp1252"}.get(
                    name.lower(), name)
                return data.decode(name)
        except (UnicodeDecodeError, LookupError):
            pass
    # Bytes that Windows-1252 lacks are the control characters of that number.
    return "".join(bytes([b]).decode("cp1252", "ignore") or chr(b) for b in data)


def run(command, data=None, seconds=60):
    return subprocess.run(command, input=data, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          timeout=seconds).stdout.decode("utf-8", "replace")


def html_text(source, head=True):
    """A page as w3m shows it, with its title and description, which stand beside it."""
    source = re.sub(r"(?i)(<meta[^>]*charset=[\"']?)[\w.:-]+", r"\1utf-8", source)
    source = re.sub(r"(?i)^\s*<\?xml[^>]*\?>|<meta\s[^>]*http-equiv=[\"']?refresh[^>]*>", "", source)
    # w3m writes "x^2" for powers, and alternative texts without blanks around them.
    shown = re.sub(r"(?i)<(su[bp])\b[^>]*>([^<]*)</\1>", r"\2", re.sub("(?i)<img\\b", " <img", source))
    text = run(["w3m", "-dump", "-T", "text/html", "-I", "UTF-8", "-O", "UTF-8", "-cols", "5000",
                "-o", "fold_line=0", "-o", "pseudo_inlines=0"], shown.encode("utf-8", "replace"))
    title = re.search(r"(?is)<title[^>]*>(.*?)</title>", source) if head else None
    metas = re.findall(r"(?is)<meta\s[^>]*>", source)
    about = [m for m in metas if re.search(r"""(?i)name\s*=\s*["']?description\b""", m)]
    about = [re.search(r"""(?is)content\s*=\s*("[^"]*"|'[^']*'|[^\s>]+)""", m) for m in about]
    extra = [title[1]] if title else []
    extra += [m[1] for m in about if m]
    return "\n".join([text] + [html_unescape(t) for t in extra])


def html_unescape(text):
    import html
    return html.unescape(text)


def html_of(data):
    declared = DECLARED.search(data[:4096])
    return html_text(decode(data, (declared[1] or declared[2]).decode() if declared else None))


INLINE = set("a abbr acronym b bold big cite code del dfn em emphasis font hi i ins it italic kbd "
             "literal mark q quote s samp small span strike strong sub subscript sup superscript "
             "tspan tt u var wbr".split())


def local(element):
    return element.tag.rsplit("}", 1)[-1] if isinstance(element.tag, str) else ""


def xml_of(data):
    """Character data; elements that are not known to stand within words separate."""
    out = []

    def walk(element):
        gap = "" if local(element) in INLINE else "\n"
        if isinstance(element.tag, str):
            out.append(gap)
            out.append(element.text or "")
            for child in element:
                walk(child)
            out.append(gap)
        out.append(element.tail or "")

    walk(xml.etree.ElementTree.fromstring(data))
    return "".join(out)


def fb2_of(data):
    root = xml.etree.ElementTree.fromstring(data)
    wanted = set("book-title first-name middle-name last-name nickname keywords".split())
    out = []
    for child in root:
        if local(child) == "body":
            out.append(paragraphs(child, {"p", "v", "subtitle", "text-author", "td", "th"}))
        if local(child) == "description":
            info = [e for e in child if local(e) in ("title-info", "src-title-info")]
            out += [e.text or "" for i in info for e in i.iter() if local(e) in wanted]
            out += [paragraphs(e, {"p"}) for i in info for e in i if local(e) == "annotation"]
    return "\n".join(out)


def paragraphs(root, names):
    return "\n".join("".join(e.itertext()) for e in root.iter() if local(e) in names)


def pdf_of(path):
    return run(["pdftotext", "-q", "-enc", "UTF-8", path, "-"], seconds=120)


def epub_of(path):
    with zipfile.ZipFile(path) as book:
        container = xml.etree.ElementTree.fromstring(book.read("META-INF/container.xml"))
        opf = next(e.get("full-path") for e in container.iter() if local(e) == "rootfile")
        package = xml.etree.ElementTree.fromstring(book.read(opf))
        items = {e.get("id"): e.get("href") for e in package.iter() if local(e) == "item"}
        out = [e.text or "" for e in package.iter() if local(e) in ("title", "creator", "subject")]
        for ref in (e for e in package.iter() if local(e) == "itemref"):
            name = os.path.normpath(os.path.join(os.path.dirname(opf), items[ref.get("idref")]))
            out.append(html_text(book.read(name).decode("utf-8", "replace"), head=False))
    return "\n".join(out)


# --- Office documents

OFFICE = {"rtf": "text", "docx": "text", "docm": "text", "odt": "text", "fodt": "text", "xlsx": "sheet", "ods": "sheet", "fods": "sheet", "pptx": "deck",
          "odp": "deck"}
FLAT = {"text": "fodt", "sheet": "fods", "deck": "fodp"}
CSV = "csv:Text - txt - csv (StarCalc):44,34,76,1,,0,false,true,false,false,false,-1"


def soffice(profile, target, folder, files, reader=None):
    """Converts files, each under its own stem, into the folder; reader: an import filter."""
    os.makedirs(folder, exist_ok=True)
    for at in range(0, len(files), 100):
        subprocess.run(["soffice", f"-env:UserInstallation=file://{profile}", "--headless",
                        *([f"--infilter={reader}"] if reader else []), "--convert-to", target, "--outdir", folder, *files[at:at + 100]],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=900)


class Office:
    """Texts of office documents, converted all at once, since soffice is slow to start."""

    def __init__(self, files, folder):
        self.folder = folder
        for shape in FLAT:
            mine = [f for f in files if OFFICE[extension(f)] == shape]
            if not mine:
                continue
            soffice(f"{folder}/profile", FLAT[shape], f"{folder}/flat", mine)
            if shape == "sheet":
                soffice(f"{folder}/profile", CSV, f"{folder}/csv", mine)

    def text(self, path):
        shape = OFFICE[extension(path)]
        stem = os.path.splitext(os.path.basename(path))[0]
        out = [flat_text(f"{self.folder}/flat/{stem}.{FLAT[shape]}", shape)]
        if shape == "sheet":
            for name in glob.glob(f"{self.folder}/csv/{glob.escape(stem)}-*.csv"):
                out.append(os.path.basename(name)[len(stem) + 1:-len(".csv")])
                with open(name, encoding="utf-8") as lines:
                    out += [cell for row in csv.reader(lines) for cell in row]
        return "\n".join(out)


UNSEEN = set("tracked-changes page-number page-count binary-data note-citation forms scripts "
             "settings font-face-decls automatic-styles styles desc creator date sender-initials".split())
APART = set("p h section table-cell list-item".split())
ASIDE = set("note annotation text-box custom-shape".split())  # anchored within words
PROPERTIES = set("title subject keyword initial-creator creator".split())


def attribute(element, name):
    return next((v for k, v in element.attrib.items() if k.rsplit("}", 1)[-1] == name), None)


def flat_text(path, shape):
    """Flat ODF: of texts and slides the body with notes, comments, headers and footers, of sheets
    the comments alone; and the properties. (soffice's export to text would write the numbers of notes
    into words, show what was deleted, and leave headers and comments out.)"""
    root = xml.etree.ElementTree.parse(path).getroot()
    hidden = {attribute(style, "name") for style in root.iter() if local(style) == "style"
              if any(attribute(e, "display") == "none" for e in style)}
    asides = []

    def walk(element, out):
        name = local(element)
        if name in UNSEEN or name == "span" and attribute(element, "style-name") in hidden:
            return
        if name in ("s", "tab", "line-break"):
            out.append(" ")
        out.append("\n" if name in APART else "")
        out.append(element.text or "")
        for child in element:
            if local(child) in ASIDE:
                asides.append([])
                walk(child, asides[-1])
            else:
                walk(child, out)
            out.append(child.tail or "")
        out.append("\n" if name in APART else "")

    out = []
    for part in root:
        if local(part) == "meta":
            out += [(e.text or "") + "\n" for e in part if local(e) in PROPERTIES]
        if local(part) == "master-styles" and shape == "text":
            walk(part, out)
        if local(part) == "body":
            for e in part.iter() if shape == "sheet" else [part]:
                if shape != "sheet" or local(e) == "annotation":
                    walk(e, out)
    return "\n".join("".join(text) for text in [out] + asides)


# --- Mail

ARMOUR = re.compile(r"^-----BEGIN (?!PGP SIGNED)[A-Z ]+-----\s.*?^-----END [A-Z ]+-----", re.S | re.M)
SIGNED = re.compile(r"^(?:Hash: \S+|-----BEGIN PGP SIGNED MESSAGE-----)$", re.M)


def parse_mail(file):
    return email.message_from_binary_file(file, policy=email.policy.default)


def mail_text(message):
    """Subject, people, date and all texts of a message. None when a part is beyond this reader."""
    texts = [str(value) for name in ("subject", "from", "to", "cc", "bcc")
             for value in message.get_all(name, [])]
    # The date as it stands: python writes the weekday anew.
    texts += [value for name, value in message.raw_items() if name.lower() == "date"][:1]
    for part in chosen_parts(message):
        text = part_text(part)
        if text is None:
            return None
        texts += [part.get_filename() or "", text]
    return ARMOUR.sub("", SIGNED.sub("", "\n".join(texts).replace("\r", "")))


def chosen_parts(part):
    """The leaves that are read: of alternatives one, and what is attached."""
    kind = part.get_content_type()
    if kind == "message/rfc822" or not part.is_multipart():
        yield part
        return
    body = part.get_body(("plain", "html")) if kind == "multipart/alternative" else None
    for child in part.iter_parts():
        if body is None or child is body or child.get_filename() or \
                child.is_multipart() and any(leaf is body for leaf in child.walk()):
            yield from chosen_parts(child)


def part_text(part):
    kind, data = part.get_content_type(), None
    if kind == "message/rfc822":
        return mail_text(part.get_payload(0))
    data = part.get_payload(decode=True) or b""
    if part.get_content_maintype() == "text":
        text = decode(data, part.get_content_charset())
        return html_text(text) if kind == "text/html" else text
    if part.get_content_maintype() in ("image", "audio", "video") or kind.endswith("-signature"):
        return ""
    if kind == "application/pdf":
        with tempfile.NamedTemporaryFile(suffix=".pdf") as file:
            file.write(data)
            file.flush()
            return pdf_of(file.name)
    return None


def messages_of(path):
    """Number and text of each message of a mailbox, from 1."""
    import mailbox
    for number, message in enumerate(mailbox.mbox(path, create=False, factory=parse_mail), 1):
        yield number, message


# --- Files and what is in them

def extension(name):
    return os.path.splitext(name)[1][1:].lower()


MARKUP = {"html": html_of, "htm": html_of, "xhtml": html_of, "xml": xml_of, "svg": xml_of,
          "docbook": xml_of, "fb2": fb2_of}


def simple_text(name, data):
    """Text of what needs no file: text and mark-up. None: nothing to read, or not by this reader."""
    if extension(name) in MARKUP:
        return MARKUP[extension(name)](data)
    head = data[:512].lstrip().lower()
    if head.startswith((b"<!doctype html", b"<html")):
        return html_of(data)
    if head.startswith(b"<?xml") or extension(name) in UNREAD or head.startswith(b"%pdf"):
        return None
    if b"\0" in data and not data.startswith((b"\xff\xfe", b"\xfe\xff")):
        return None
    return decode(data)


UNREAD = set("pdf rtf zip tar tgz gz xz bz2 zst jar png gif jpg jpeg ico eml mbox".split()) | set(OFFICE)


def unpacked(path):
    """Name and bytes of each member of an archive or compressed file."""
    kind, name = extension(path), os.path.basename(path)
    if kind == "zip":
        with zipfile.ZipFile(path) as archive:
            for member in archive.infolist():
                if not member.is_dir():
                    yield member.filename, archive.read(member)
    elif kind == "tar" or kind == "tgz":
        inside = "" if kind == "tar" else name[:-len("tgz")] + "tar/"
        with tarfile.open(path) as archive:
            for member in archive:
                if member.isreg():
                    yield inside + member.name, archive.extractfile(member).read()
    else:
        inner = name[:-len(kind) - 1]
        packed = open(path, "rb").read()
        if kind == "zst":
            data = subprocess.run(["zstd", "-dcq", path], stdout=subprocess.PIPE, check=True).stdout
        else:
            data = {"gz": gzip, "xz": lzma, "bz2": bz2}[kind].decompress(packed)
        if extension(inner) == "tar":
            with tarfile.open(fileobj=io.BytesIO(data)) as archive:
                for member in archive:
                    if member.isreg():
                        yield f"{inner}/{member.name}", archive.extractfile(member).read()
        else:
            yield inner, data
