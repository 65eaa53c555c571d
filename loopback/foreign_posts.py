#!/usr/bin/env python3
"""Base64 and UU posts by encoders that are not ours, for scripts/foreign-posts.

foreign_posts.py make FOLDER       articles/ID, set.nzb, and in files/ what was posted
foreign_posts.py compare FOLDER DOWNLOADS     prints a table; exits with 1 if a file is not as it was posted
"""
import base64
import binascii
import email.message
import email.policy
import io
import os
import pathlib
import subprocess
import sys
import tempfile
import uu
from xml.sax.saxutils import quoteattr

CRLF = b"\r\n"
MIME = (b"Content-Type: application/octet-stream;\r\n\tname=\"%s\"\r\nContent-Transfer-Encoding: base64\r\n"
        b"Content-Disposition: attachment; filename=\"%s\"\r\n\r\n")
PROLOGUE = [b"This is a multi-part message in MIME format.", b"Two scans, the second one is better.", b""]
EPILOGUE = [b"", b"--", b"Posted from my desk: thanks for the fill, see part 2", b"thanks"]
BOUNDARIES = ["----=_NextPart_000_0001", "=_NextPart_1", "===============1357==", "Boundary_(ID_x/1)", "-",
              "------------0123456789ABCDEF", "Apple-Mail=_A1"]


def lines(data, length):
    return [data[at:at + length] for at in range(0, len(data), length)]


def thirds(items):
    cut = len(items) // 3
    return [items[:cut], items[cut:2 * cut], items[2 * cut:]]


def coded(data, width=76):
    return lines(base64.b64encode(data), width)


def multipart(name, code, boundary=b"----=_NextPart_000_0001", before=(), after=()):
    """The lines of a body with one encoded part."""
    part = (MIME % (name, name)).split(CRLF)[:-1]
    return [*before, b"--" + boundary, *part, *code, b"", b"--" + boundary + b"--", *after]


def by_email(data, name, boundary=None, width=76, around=False):
    message = email.message.EmailMessage(email.policy.SMTP.clone(max_line_length=width))
    message.set_content("Here it is.\nthanks\n")
    message.add_attachment(data, maintype="image", subtype="jpeg", filename=name.decode())
    if boundary:
        message.set_boundary(boundary)
    if around:
        message.preamble = "\n".join(line.decode() for line in PROLOGUE)
        message.epilogue = "\n".join(line.decode() for line in EPILOGUE)
    head, body = message.as_bytes().split(CRLF + CRLF, 1)
    return head + CRLF, body


def by_mpack(data, name, size=None):
    with tempfile.TemporaryDirectory() as folder:
        (pathlib.Path(folder) / name.decode()).write_bytes(data)
        limit = ["-m", str(size)] if size else []
        subprocess.run(["mpack", "-s", name.decode(), *limit, "-o", "out", name.decode()], cwd=folder, check=True,
                       stdout=subprocess.DEVNULL)
        texts = [file.read_bytes().replace(b"\n", CRLF) for file in sorted(pathlib.Path(folder).glob("out*"))]
    return [tuple(part + CRLF * last for last, part in ((1, head), (0, body)))
            for head, body in (text.split(CRLF + CRLF, 1) for text in texts)]


def by_uuencode(data, name):
    return subprocess.run(["uuencode", name.decode()], input=data, stdout=subprocess.PIPE, check=True).stdout.splitlines()


def by_uu(data, name, backtick=False):
    out = io.BytesIO()
    uu.encode(io.BytesIO(data), out, name.decode(), 0o644, backtick=backtick)
    return out.getvalue().splitlines()


def by_binascii(data, name, change=lambda line: line):
    return [b"begin 644 " + name, *(change(binascii.b2a_uu(piece).rstrip(b"\n")) for piece in lines(data, 45)), b"`", b"end"]


def with_check(line):
    """Some encoders add the sum of a line's characters; none of Debian's does."""
    return line + bytes([32 + sum(line[1:]) % 64])


def several_base64(data, name):
    """Each article a third of the bytes, encoded for itself; only the first has a MIME header."""
    first, *later = [binascii.b2a_base64(piece, newline=False) for piece in thirds(data)]
    boundary = b"----=_NextPart_000_0001"
    return [multipart(name, lines(first, 72), boundary, PROLOGUE), [*lines(later[0], 72), b"", b"--" + boundary + b"--"],
            [*lines(later[1], 72), *EPILOGUE]]


def cut_base64(data, name, width=76):
    first, second, third = thirds(coded(data, width))
    return [multipart(name, first)[:-2], second, [*third, b"", b"------=_NextPart_000_0001--"]]


BASE64 = [20_000, 20_001, 20_002]
BORDERS = [3 * 6_667, 3 * 6_668, 3 * 6_669]
DOTS = 45 * 301 + 14  # its last line's bytes begin with the code of a dot too
UU = [*(45 * 300 + rest for rest in (0, 1, 13, 14, 15, 44)), DOTS]
SAMPLES = [
    # encoder, form, sizes, what makes the articles
    ("email", "one article, text and attachment", BASE64, lambda d, n: [by_email(d, n)]),
    ("email", "one article, prologue and epilogue", BASE64, lambda d, n: [by_email(d, n, around=True)]),
    ("email", "three articles, each a message of its own, boundary of Python", BASE64,
     lambda d, n: [by_email(p, n) for p in thirds(d)]),
    *(("email", f"the same, boundary `{b}`", BASE64,
       lambda d, n, b=b: [by_email(p, n, b, around=True) for p in thirds(d)]) for b in BOUNDARIES),
    ("email", "one article, lines of 60", BASE64, lambda d, n: [by_email(d, n, width=60)]),
    ("mpack", "one article", BASE64, lambda d, n: by_mpack(d, n)),
    ("mpack", "message/partial", BASE64, lambda d, n: by_mpack(d, n, 7_000)),
    ("binascii", "three articles, padding at the part borders", BASE64, several_base64),
    ("binascii", "three articles, no padding at the part borders", BORDERS, several_base64),
    ("base64", "one text cut into three articles", BASE64, cut_base64),
    *(("base64", f"the same, lines of {form}", [20_000 + w for w in widths],
       lambda d, n: cut_base64(d, n, len(d) - 20_000)) for form, widths in
      (("60 to 76", range(60, 77)), ("1,000", [1_000]))),
    ("base64", "one article, one line", BASE64, lambda d, n: [multipart(n, coded(d, len(d) * 2))]),
    ("base64", "one article, lines of data end in LF", BASE64,
     lambda d, n: [multipart(n, [b"\n".join(coded(d))], before=PROLOGUE, after=EPILOGUE)]),
    ("uuencode", "one article", UU, lambda d, n: [by_uuencode(d, n)]),
    ("uuencode", "three articles, text around", UU,
     lambda d, n: [p + EPILOGUE for p in thirds(PROLOGUE + by_uuencode(d, n))]),
    ("uuencode", "the last line in an article of its own", UU,
     lambda d, n: [by_uuencode(d, n)[:-3], by_uuencode(d, n)[-3:]]),
    ("uu", "three articles, blank for zero", UU, lambda d, n: thirds(by_uu(d, n))),
    ("uu", "three articles, back-quote for zero", UU, lambda d, n: thirds(by_uu(d, n, True))),
    ("uu", "the same, blanks at line ends lost", UU, lambda d, n: thirds([x.rstrip() or b"`" for x in by_uu(d, n)])),
    ("binascii", "three articles, a check character in each line", UU,
     lambda d, n: thirds(by_binascii(d, n, with_check))),
    ("binascii", "one article, lines of data end in LF", UU, lambda d, n: [[by_binascii(d, n)[0], b"\n".join(by_binascii(d, n)[1:])]]),
]


def sample_files():
    for row, (_, _, sizes, make) in enumerate(SAMPLES):
        for size in sizes:
            yield row, f"post{row:02}-{size}.jpg", size, make


def article(of, number, total, posted):
    head, body = posted if isinstance(posted, tuple) else (b"", CRLF.join(posted))
    identity = f"{number}.{of}@foreign.example"
    kept = [line for line in head.split(CRLF) if not line.lower().startswith((b"message-id:", b"subject:"))]
    fields = [b"Path: news.example!not-for-mail", b"From: poster@foreign.example", b"Newsgroups: alt.binaries.test",
              f'Subject: "{of}" ({number}/{total})'.encode(), f"Message-ID: <{identity}>".encode(),
              b"References: <1.a@foreign.example>\r\n\t<2.a@foreign.example>", *kept]
    text = CRLF.join([*filter(None, fields), b"", body])
    return identity, text if text.endswith(CRLF) else text + CRLF


def make(folder):
    for name in ("articles", "files"):
        (folder / name).mkdir(parents=True)
    nzb = ['<?xml version="1.0" encoding="UTF-8"?>', '<nzb>']
    for _, name, size, articles_of in sample_files():
        data = os.urandom(size)
        if size == DOTS:
            data = data[:-14] + b"9" + data[-13:]
        (folder / "files" / name).write_bytes(data)
        articles = articles_of(data, name.encode())
        subject = quoteattr(f'"{name}" (1/{len(articles)})')
        nzb.append(f'<file poster="p@foreign.example" date="1700000000" subject={subject}>')
        nzb.append("<groups><group>alt.binaries.test</group></groups>\n<segments>")
        for number, posted in enumerate(articles, 1):
            identity, text = article(name, number, len(articles), posted)
            (folder / "articles" / identity).write_bytes(text)
            nzb.append(f'<segment bytes="{len(text)}" number="{number}">{identity}</segment>')
        nzb.append("</segments>\n</file>")
    (folder / "set.nzb").write_text("\n".join([*nzb, "</nzb>", ""]))


def compare(folder, downloads):
    print("| Encoder | Form | Files | Articles | Result |\n|---|---|---|---|---|")
    different = 0
    for row, (encoder, form, *_) in enumerate(SAMPLES):
        names = [name for at, name, *_ in sample_files() if at == row]
        bad = [name for name in names if not (downloads / name).is_file() or
               (downloads / name).read_bytes() != (folder / "files" / name).read_bytes()]
        articles = sum(len(list((folder / "articles").glob(f"*.{name}@*"))) for name in names)
        print(f"| {encoder} | {form} | {len(names)} | {articles} | {'not equal: ' + ' '.join(bad) if bad else 'equal'} |")
        different += len(bad)
    return 1 if different else 0


if __name__ == "__main__":
    words = sys.argv[1:]
    if len(words) == 2 and words[0] == "make":
        make(pathlib.Path(words[1]))
    elif len(words) == 3 and words[0] == "compare":
        sys.exit(compare(pathlib.Path(words[1]), pathlib.Path(words[2])))
    else:
        sys.exit(__doc__)
