#!/usr/bin/env python3
"""Checks, or with --renew writes, the hashes of style and script in the policy of log forms.

    hashes.py [--renew] FORM...

Ends with 1 if a hash does not fit, after telling which and what it has to be.
"""
import base64
import hashlib
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


def main(arguments):
    renew = arguments[:1] == ["--renew"]
    status = 0
    for name in arguments[renew:]:
        with open(name, encoding="latin-1", newline="") as file:
            form = file.read().replace("\r\n", "\n")
        fitting = form
        for directive, fits in hashes(form).items():
            pattern = rf"{directive} ([^;\"]*)"
            stands = re.search(pattern, head_of(form)).group(1)
            fitting = re.sub(pattern, f"{directive} {fits}", fitting)
            if stands != fits:
                print(f"{name}: {directive} names {stands}, has to name {fits}", file=sys.stderr)
                status = 1
        if renew and fitting != form:
            with open(name, "w", encoding="latin-1", newline="") as file:
                file.write(fitting)
            print(f"{name}: renewed")
            status = 0
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
