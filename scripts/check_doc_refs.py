#!/usr/bin/env python3
"""Fails when the README, docs/ or a source comment names a file or a test that does not exist.

  scripts/check_doc_refs.py [ROOT]

File references are paths with a folder and an extension (`libextractor/demux/qmkvd.h`,
`tests/files/...`), taken from the Markdown files and from comments in C/C++ sources; a
`{h,cc}` group stands for each of its members. Test references are `Suite.Name` in backticks in
the Markdown files, checked against the TEST, TEST_F and TEST_P declarations under tests/.
"""
import os
import re
import subprocess
import sys

PATH = re.compile(r'(?<![\w./-])((?:[\w.-]+/)+[\w.*-]+\.(?:\{[\w,]+\}|[A-Za-z0-9]+))(?![\w/])')
TEST_REF = re.compile(r'`([A-Z][A-Za-z0-9]*)\.([A-Z][A-Za-z0-9_]*)`')
TEST_DECL = re.compile(r'\bTEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)')
MIME_TOPS = ('audio', 'video', 'text', 'application', 'image')
# Paths that name things outside the repository or made at build time.
OUTSIDE = ('/usr/', '/tmp/', 'build/', 'http', '/proc/', 'media/', 'android/', 'utils/',
           'nlohmann/', 'webm/', 'sys/', 'gtest/', 'system/', 'frameworks/', 'vendor/')


def tracked(root):
    out = subprocess.run(['git', 'ls-files'], cwd=root, check=True, capture_output=True,
                         text=True).stdout
    return set(out.split())


def expand(path):
    m = re.search(r'\{([\w,]+)\}$', path)
    if not m:
        return [path]
    return [path[:m.start()] + ext for ext in m.group(1).split(',')]


def placeholder(path):
    """A path written as a pattern for the reader (ref/NAME.mkv, corpus/x.mkv)."""
    base = os.path.basename(path)
    return 'NAME' in base or re.match(r'^(x|y|x-y)\.', base) is not None


def exists(path, files, dirs):
    if '*' in path:
        pat = re.compile('^' + re.escape(path).replace(r'\*', '[^/]*') + '$')
        return any(pat.match(f) for f in files)
    # A path may be written from the repository root or from a folder inside it.
    return any(f == path or f.endswith('/' + path) for f in files)


def comments(text):
    return '\n'.join(m.group(0) for m in re.finditer(r'//[^\n]*|/\*.*?\*/', text, re.S))


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else '.'
    files = tracked(root)
    dirs = {os.path.dirname(f) for f in files}
    tests = set()
    for f in files:
        if f.startswith('tests/') and f.endswith('.cc'):
            with open(os.path.join(root, f), encoding='utf-8') as fh:
                tests.update('%s.%s' % m for m in TEST_DECL.findall(fh.read()))
    bad = []
    for f in sorted(files):
        md = f.endswith('.md')
        if not (md or f.endswith(('.cc', '.h'))):
            continue
        if f.startswith(('tests/data/', 'fuzz/seeds/', 'fuzz/regressions/')):
            continue
        with open(os.path.join(root, f), encoding='utf-8', errors='replace') as fh:
            text = fh.read()
        scan = text if md else comments(text)
        for line_no, line in enumerate(scan.splitlines(), 1):
            for m in PATH.finditer(line):
                path = m.group(1)
                if path.startswith(OUTSIDE) or path.startswith('.') and not path.startswith('./'):
                    continue
                # Only paths that start at a folder of ours (MIME types and "H.264/H.265" do not).
                first = path.lstrip('./').split('/')[0]
                if first in MIME_TOPS and path.count('/') == 1:
                    continue
                if not any(d == first or d.endswith('/' + first) for d in dirs) or placeholder(path):
                    continue
                for p in expand(path.lstrip('./') if path.startswith('./') else path):
                    if not exists(p, files, dirs):
                        bad.append('%s: names %s, which is not in the repository' % (f, p))
            if md:
                for suite, name in TEST_REF.findall(line):
                    ref = '%s.%s' % (suite, name)
                    if ref not in tests and not any(t.endswith('/' + ref) for t in tests):
                        bad.append('%s: names test %s, which does not exist' % (f, ref))
    for b in sorted(set(bad)):
        print(b)
    return 1 if bad else 0


if __name__ == '__main__':
    sys.exit(main())
