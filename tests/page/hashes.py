#!/usr/bin/env python3
"""Checks, or with --renew writes, what the head of a log form says of the form itself.

    hashes.py [--renew] FORM...

That is the hashes of style and script in its policy, and how an entry and the tail look, for those who
read a log back. Ends with 1 if something does not fit, after telling what it has to be.
"""
import base64
import hashlib
import html
import re
import sys


def head_of(form):
    return re.search(r"^\^HEAD\n(.*?)^\^BODY\n", form, re.S | re.M).group(1)


def hashes(form):
    """By directive: the hashes of the elements' texts as it stands in a log, where %% has become %."""
    found = {}
    for element in ("style", "script"):
        texts = re.findall(rf"<{element}\b[^>]*>(.*?)</{element}>", head_of(form), re.S)
        digests = [hashlib.sha256(text.replace("%%", "%").encode("ascii")).digest() for text in texts]
        found[element + "-src"] = " ".join(f"'sha256-{base64.b64encode(digest).decode()}'" for digest in digests)
    return found


def statements(form):
    """By name: the sections that a page states, with braces for the brackets of a variable."""
    stated = {}
    for name, section in (("zmu-entry", r"BODY\n(.*?)^\^TAIL\n"), ("zmu-tail", r"TAIL\n(.*)")):
        text = re.search(r"^\^" + section, form, re.S | re.M).group(1)
        text = re.sub(r"\[(\w+)\]|<!--([A-Z_]+)-->",
                      lambda variable: "{%s}" % (variable[1] or variable[2]), text)
        stated[name] = html.escape(text).replace("\n", "&#10;")
    return stated


def main(arguments):
    renew = arguments[:1] == ["--renew"]
    status = 0
    for name in arguments[renew:]:
        with open(name, encoding="latin-1", newline="") as file:
            form = file.read().replace("\r\n", "\n")
        fitting = form
        facts = [(f"{directive} ", r"[^;\"]*", fits) for directive, fits in hashes(form).items()]
        facts += [(f'<meta name="{stated}" content="', r"[^\"]*", fits)
                  for stated, fits in statements(form).items()]
        for front, value, fits in facts:
            pattern = f"({re.escape(front)})({value})"
            found = re.search(pattern, head_of(form))
            if not found:
                continue # a form need not say how its sections look
            stands = found[2]
            fitting = re.sub(pattern, lambda match: match[1] + fits, fitting)
            if stands != fits:
                print(f"{name}: behind {front} stands {stands}, has to stand {fits}", file=sys.stderr)
                status = 1
        if renew and fitting != form:
            with open(name, "w", encoding="latin-1", newline="") as file:
                file.write(fitting)
            print(f"{name}: renewed")
            status = 0
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
