#!/usr/bin/env python3
"""Checks the shape of qxutils, as the README's layout section describes it.

- Layers: a source under base/utils/imp/<layer>/ includes headers of its own layer and of the layers
  below it only (core, text, files, config, diagnostics, web, from the bottom up); a public header counts in the layer of
  the sources that implement it. sdk/ includes nothing of base/. A platform contract
  (imp/platform/*.h) includes nothing but sdk/; a backend (imp/platform/<backend>/) the contracts, sdk/,
  core and its own folder.
- Platform headers: POSIX, SQLite and iconv headers are included in imp/platform/<backend>/ only.
- No circles: the units (a concept's public header, private header and sources, which share a stem)
  depend on each other without a circle.

Prints each breach and exits with 1 when there is one.
"""
import pathlib
import re
import sys

LAYERS = ['core', 'text', 'files', 'config', 'diagnostics', 'web']
SYSTEM_ONLY_IN_BACKENDS = re.compile(
    r'^(unistd|fcntl|pwd|grp|dlfcn|pthread|spawn|poll|dirent|termios|langinfo|iconv|sqlite3|execinfo|'
    r'link|elf|ucontext|mntent|signal|sched|libunwind|libunwind-ptrace)\.h$|^(sys|netinet|arpa|elfutils)/')
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^">]+)[">]', re.M)


def main(root):
    root = pathlib.Path(root).resolve()
    imp = root / 'base/utils/imp'
    files = sorted(p for d in ('base/utils', 'sdk') for p in (root / d).rglob('*')
                   if p.suffix in ('.h', '.cpp', '.inc'))
    search = [root / 'base/utils', imp, root / 'sdk']
    stems = unit_stems(files, root)
    layer_of_unit = {}
    for f in files:
        layer = folder_layer(f, root)
        if layer and f.suffix != '.h' or layer not in (None, 'public'):
            layer_of_unit.setdefault(unit(f, root, stems), layer)
    breaches, edges = [], {}
    for f in files:
        here = layer_of(f, root, stems, layer_of_unit)
        for kind, name in INCLUDE.findall(f.read_text(errors='replace')):
            rel = f.relative_to(root)
            if kind == '<':
                if SYSTEM_ONLY_IN_BACKENDS.search(name) and not here.startswith('backend'):
                    breaches.append(f'{rel}: includes <{name}>, which only a platform backend may')
                continue
            target = resolve(name, f, search)
            if target is None:
                continue
            there = layer_of(target, root, stems, layer_of_unit)
            if not allowed(here, there):
                breaches.append(f'{rel}: includes "{name}" of {there}, above {here}')
            a, b = unit(f, root, stems), unit(target, root, stems)
            if a != b:
                edges.setdefault(a, set()).add(b)
    for cycle in cycles(edges):
        breaches.append('circle among the units ' + ', '.join(cycle))
    for breach in breaches:
        print(breach)
    return 1 if breaches else 0


def folder_layer(f, root):
    rel = f.relative_to(root).parts
    if rel[0] == 'sdk':
        return 'sdk'
    if len(rel) == 3:
        return 'public'
    if rel[3] == 'platform':
        return 'platform' if len(rel) == 5 else 'backend ' + rel[4]
    return rel[3]


def unit_stems(files, root):
    """Stems of the headers, which name the units; a private header "x_p.h" names the unit "x"."""
    stems = set()
    for f in files:
        if f.suffix == '.h':
            stems.add(strip_private(f.stem))
    return stems


def strip_private(stem):
    return stem[:-2] if stem.endswith('_p') else stem


def unit(f, root, stems):
    layer = folder_layer(f, root)
    stem = strip_private(f.stem)
    if layer == 'platform' or layer.startswith('backend'):
        return f'{layer}/{stem}'
    while stem not in stems and '_' in stem:
        stem = stem.rsplit('_', 1)[0]
    return stem


def rank(layer):
    order = ['sdk', 'platform'] + LAYERS
    return order.index(layer) if layer in order else len(order)


def layer_of(f, root, stems, layer_of_unit):
    """A public header counts in the layer of the sources that implement it; one that has none (the
    umbrella header, a header of types) in the highest layer of what it includes, at least core."""
    layer = folder_layer(f, root)
    if layer != 'public':
        return layer
    key = unit(f, root, stems)
    if key not in layer_of_unit:
        layer_of_unit[key] = 'core'
        search = [root / 'base/utils', root / 'base/utils/imp', root / 'sdk']
        for kind, name in INCLUDE.findall(f.read_text(errors='replace')):
            target = resolve(name, f, search) if kind == '"' else None
            there = layer_of(target, root, stems, layer_of_unit) if target else 'core'
            if rank(there) > rank(layer_of_unit[key]):
                layer_of_unit[key] = there
    return layer_of_unit[key]


def allowed(here, there):
    if here == 'sdk':
        return there == 'sdk'
    if here == 'platform':
        return there in ('sdk', 'platform')
    if here.startswith('backend'):
        return there in ('sdk', 'platform', 'core', here)
    if there.startswith('backend'):
        return False
    return rank(there) <= rank(here)


def resolve(name, f, search):
    for base in [f.parent] + search:
        candidate = (base / name).resolve()
        if candidate.is_file():
            return candidate
    return None


def cycles(edges):
    """The strongly connected components of more than one unit, each as a list."""
    index, low, stack, on_stack, found = {}, {}, [], set(), []

    def visit(v):
        index[v] = low[v] = len(index)
        stack.append(v)
        on_stack.add(v)
        for w in sorted(edges.get(v, ())):
            if w not in index:
                visit(w)
                low[v] = min(low[v], low[w])
            elif w in on_stack:
                low[v] = min(low[v], index[w])
        if low[v] == index[v]:
            component = []
            while True:
                w = stack.pop()
                on_stack.discard(w)
                component.append(w)
                if w == v:
                    break
            if len(component) > 1:
                found.append(sorted(component))

    for v in sorted(edges):
        if v not in index:
            visit(v)
    return found


if __name__ == '__main__':
    sys.exit(main(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent.parent))
