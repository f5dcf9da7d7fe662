#!/usr/bin/python3
"""faults.py measures the tests: it plants faults in the code and sees which of them a test finds.

All faults are compiled at once, into a copy of the tree under build/faults, and one of them is
chosen when a program starts. So a fault costs no compiling, only the tests that reach it.

  faults.py --sample 200 --seed 1 --first   200 faults, each up to the first program that finds it
  faults.py --all --out FILE                every fault, and every test that finds it, but of slow
                                            tests one, and only if no quick one does; goes on with
                                            FILE where an earlier run ended
  faults.py --report FILE                   what was found by folder and kind, and what was not
  faults.py --compare OLD NEW               what OLD found and NEW does not
  faults.py --tests FILE                    what each test alone finds, of a table made with --all

A fault has a key of its file, the text of its function, its kind and its number there: tables made
with other tests over the same code can be compared. --tests-from DIR takes tests and fuzz corpora
from another tree, and --build DIR builds elsewhere than in build/faults.
"""
import argparse, array, collections, hashlib, inspect, json, multiprocessing, os, pathlib, random
import re, resource, select, shutil, signal, subprocess, sys, time

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ('src', 'tools/kwpki', 'loopback')
NOT_RUN = r'^(compile_fail|layers|install)[.]|^crypto[.]secret_exponent'  # no tests of the code
MEMORY = 4 << 30    # bytes of address space for a test program
ENDED = {-1: 'crash', 0: 'pass', 1: 'fail'}
MARK = re.compile(rb'\[ *(RUN|OK|FAILED|SKIPPED) *\] ([^ ,]+)')
FIXED = ['setarch', '-R'] if not subprocess.run(  # the same addresses in each run
    ['setarch', '-R', 'true'], stderr=subprocess.DEVNULL).returncode else []

# What the rewritten code calls. A program without a fault compares one number at each place. Where
# the compiler computes a constant, no fault ever fires.
HELPER = r'''
#pragma once
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cstdint>
#include <cstdlib>
#include <type_traits>
namespace fault {
struct State {
  unsigned first = 0, count = 0;  // the places that are looked at closer
  uint32_t *reached = nullptr;    // how often each was reached, shared by all processes of a test
  uint64_t left = 0;              // a fault that fires more often than this is a loop without end
  State() {
    if (const char *id = getenv("KWPKI_FAULT")) {
      first = static_cast<unsigned>(atoi(id));
      count = 1;
      const char *limit = getenv("KWPKI_FAULT_LIMIT");
      left = limit ? strtoull(limit, nullptr, 10) : UINT64_MAX;
    } else if (const char *path = getenv("KWPKI_FAULT_REACHED")) {
      const int file = open(path, O_RDWR);
      void *const all = mmap(nullptr, @count@ * 4, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
      close(file);
      if (all == MAP_FAILED) abort();
      reached = static_cast<uint32_t *>(all);
      count = @count@;
    }
  }
};
inline State state;
__attribute__((noinline, cold)) inline bool fire(unsigned id) {
  if (state.reached) return ++state.reached[id], false;
  if (state.left-- == 0) _exit(97);
  return true;
}
constexpr bool on(unsigned id) {
  if (std::is_constant_evaluated()) return false;
  return __builtin_expect(id - state.first < state.count, 0) && fire(id);
}
}  // namespace fault
'''

# What makes the build quick: tests are not optimised, and what others wrote is read once a target.
QUICK = b'''
add_compile_options("-O$<NOT:$<BOOL:$<FILTER:$<TARGET_PROPERTY:NAME>,INCLUDE,_test$>>>")
function(precompile)
  foreach(folder src loopback tools/kwpki tests)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
      set(headers <algorithm> <array> <memory> <optional> <span> <string> <vector>)
      if(target MATCHES "_test$")
        list(APPEND headers <filesystem> <map> <random> <gmock/gmock.h> <gtest/gtest.h>)
      elseif(target STREQUAL "kwpki_tool")
        list(APPEND headers <CLI/CLI.hpp> <fmt/format.h> <nlohmann/json.hpp>)
      elseif(NOT target MATCHES "^(ssh_.*|kwpki_loopback_service)$")
        continue()
      endif()
      target_precompile_headers(${target} PRIVATE ${headers})
    endforeach()
  endforeach()
endfunction()
cmake_language(DEFER CALL precompile)
'''

# ---- Planting ------------------------------------------------------------------------------------

SWAPS = {'<': '<=', '<=': '<', '>': '>=', '>=': '>', '==': '!=', '!=': '=='}
ARITHMETIC = {'+': '-', '-': '+', '<<': '>>', '>>': '<<', '&': '|', '|': '&', '+=': '-=',
              '-=': '+=', '<<=': '>>=', '>>=': '<<=', '&=': '|=', '|=': '&='}
COMMENT = re.compile(r'("(?:\\.|[^"\\])*"|(?<![0-9a-fA-F])\'(?:\\.|[^\'\\])+\')|//[^\n]*|/\*.*?\*/',
                     re.S)


def one_line(text):
    """The code without comments and ends of lines, so that a copy of it moves no line."""
    return ' '.join(COMMENT.sub(lambda m: m.group(1) or ' ', text).split('\n'))


class Planter:
    """Finds the places of one file as clang sees it. Each fault brackets a piece of the text."""

    def __init__(self, path, kinds):
        self.k = k = kinds
        self.functions = (k.FUNCTION_DECL, k.CXX_METHOD, k.CONSTRUCTOR, k.DESTRUCTOR,
                          k.CONVERSION_FUNCTION, k.FUNCTION_TEMPLATE)
        self.octets = path.read_bytes()  # clang counts octets
        self.file = str(path.relative_to(ROOT))
        self.found = {}

    def text(self, start, end):
        return self.octets[start:end].decode()

    def span(self, node):
        return node.extent.start.offset, node.extent.end.offset

    def plant(self, kind, start, end, before, after):
        """`before` and `after` stand around [start, end); @ in `before` becomes the number."""
        text = self.text(start, end)
        if not text or '#' in text:
            return
        line = self.octets.count(b'\n', 0, start) + 1
        column = start - self.octets.rfind(b'\n', 0, start)
        source = self.octets.split(b'\n', line)[line - 1].decode().strip()
        function = hashlib.sha1(self.function.encode()).hexdigest()[:10]
        self.found.setdefault((start, -end, kind), {
            'file': self.file, 'line': line, 'column': column, 'kind': kind, 'source': source,
            'start': start, 'end': end, 'before': before, 'after': after, 'function': function})

    def instead(self, kind, node, other):
        """`other` is computed in place of the node, once the fault is chosen."""
        if ';' not in other:  # a function written in the expression is left alone
            self.plant(kind, *self.span(node), f'(fault::on(@) ? ({one_line(other)}) : (', '))')

    def walk_declarations(self, node):
        k = self.k
        if node.kind in self.functions:
            body = [child for child in node.get_children() if child.kind == k.COMPOUND_STMT]
            self.function = self.text(*self.span(node))
            if body and 'consteval' not in self.function.split('{')[0]:
                self.walk(body[0])
        elif node.kind == k.LAMBDA_EXPR:  # of a table
            self.function = self.text(*self.span(node))
            self.walk(node)
        elif node.kind not in (k.STATIC_ASSERT, k.ENUM_DECL):
            for child in node.get_children():
                self.walk_declarations(child)

    def walk(self, node):
        k, kind = self.k, node.kind
        children = list(node.get_children())
        if kind in (k.STATIC_ASSERT, k.CXX_UNARY_EXPR, k.DECL_REF_EXPR, k.PARM_DECL, k.ENUM_DECL,
                    k.FIELD_DECL, k.TYPE_REF, k.TYPEDEF_DECL, k.TYPE_ALIAS_DECL):
            return  # types and constants
        if kind in self.functions:
            children = [child for child in children if child.kind == k.COMPOUND_STMT]
        elif kind == k.VAR_DECL:
            children = self.initializer(node, children)
        elif kind in (k.CASE_STMT, k.DEFAULT_STMT):
            children = children[-1:]
            self.statements(children)
        elif kind == k.COMPOUND_STMT:
            self.statements(children)
        elif kind in (k.IF_STMT, k.WHILE_STMT, k.DO_STMT, k.FOR_STMT, k.CONDITIONAL_OPERATOR):
            children = self.condition(node, children)
        elif kind == k.CXX_FOR_RANGE_STMT:
            self.statements(children[-1:])
        elif kind == k.RETURN_STMT and children and self.is_bool(children[0]):
            self.flip('return', children[0])
        elif kind in (k.BINARY_OPERATOR, k.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            self.operator(node, *children)
        elif kind == k.CALL_EXPR and node.spelling[8:] in SWAPS and len(children) == 3:
            sides = sorted((c for c in children if not c.spelling.startswith('operator')),
                           key=self.span)
            if len(sides) == 2:
                self.operator(node, *sides)
        elif kind == k.INTEGER_LITERAL and re.match('[0-9]', self.text(*self.span(node))):
            self.instead('literal', node, self.text(*self.span(node)) + ' + 1')
        elif kind == k.CXX_BOOL_LITERAL_EXPR and self.text(*self.span(node)) in ('true', 'false'):
            self.plant('literal', *self.span(node), '(fault::on(@) != ', ')')
        for child in children:
            self.walk(child)

    def initializer(self, node, children):
        """What a variable starts with, unless it is a constant or stands for the whole run."""
        head = self.text(node.extent.start.offset, node.location.offset)
        if re.search(r'\b(static|constexpr|constinit)\b', head):
            return []
        after_name = node.location.offset + len(node.spelling.encode())
        last = children[-1:]
        start = last[0].extent.start.offset if last else 0
        return last if start >= after_name and self.octets[after_name:][:1] != b'[' else []

    def inside(self, node):
        """The node under conversions and parentheses."""
        while node and node.kind in (self.k.UNEXPOSED_EXPR, self.k.PAREN_EXPR):
            node = next(iter(node.get_children()), None)
        return node

    def is_bool(self, node):
        return node.type.get_canonical().kind.name == 'BOOL'

    def flip(self, kind, node):
        """The truth is turned round. For an equality and a constant their own faults do that."""
        start, end = self.span(node)
        inner = self.inside(node)
        equality = inner and inner.kind == self.k.BINARY_OPERATOR and \
            self.between(*inner.get_children()) in ('==', '!=')
        text = self.text(start, end)
        if not equality and text not in ('true', 'false') and not text.startswith('{'):
            self.plant(kind, start, end, '(fault::on(@) != static_cast<bool>(', '))')

    def condition(self, node, children):
        """The condition of a statement, and the statements under it; returns where to walk on."""
        k, kind = self.k, node.kind
        if kind == k.CONDITIONAL_OPERATOR:
            self.flip('condition', children[0])
        elif kind == k.FOR_STMT:
            self.statements(children[-1:])
            header = [child for child in children[:-1] if child.kind != k.DECL_STMT]
            for child in header:  # the condition ends at the second semicolon
                before = self.text(node.extent.start.offset, child.extent.start.offset)
                if before.count(';') == 1 and self.next(child) == ';':
                    self.flip('condition', child)
        elif kind == k.DO_STMT:
            self.statements(children[:1])
            self.flip('condition', children[-1])
        else:
            constant = re.match(r'if\s+constexpr', self.text(*self.span(node)))
            plain = children[0].kind.is_expression() and self.next(children[0]) == ')'
            if plain and not constant:
                self.flip('condition', children[0])
            self.statements(children[1:])
            return children[1:] if constant else children
        return children

    def next(self, node):
        return self.text(node.extent.end.offset, node.extent.end.offset + 40).lstrip()[:1]

    def statements(self, nodes):
        """Calls and assignments that are a statement of their own."""
        k = self.k
        for node in nodes:
            inner, text = self.inside(node), self.text(*self.span(node))
            if not inner or self.next(node) != ';':
                continue
            step = inner.kind == k.UNARY_OPERATOR and re.search(r'^(\+\+|--)|(\+\+|--)$', text)
            if step or inner.kind in (k.CALL_EXPR, k.BINARY_OPERATOR,
                                      k.COMPOUND_ASSIGNMENT_OPERATOR):
                self.plant('statement', *self.span(node),
                           '(fault::on(@) ? static_cast<void>(0) : static_cast<void>(', '))')

    def between(self, left, right):
        return one_line(self.text(left.extent.end.offset, right.extent.start.offset)).strip()

    def operator(self, node, left, right):
        sign = self.between(left, right)
        start, end = self.span(node)
        if sign in ('&&', '||'):
            without = '(fault::on(@) || (' if sign == '&&' else '(!fault::on(@) && ('
            for side in (left, right):
                self.plant('logical', *self.span(side), without, '))')
            return
        kind = 'comparison' if sign in SWAPS else 'arithmetic' if sign in ARITHMETIC else None
        if not kind or kind == 'arithmetic' and right.type.get_canonical().kind.name == 'POINTER':
            return
        other = {**SWAPS, **ARITHMETIC}[sign]
        self.instead(kind, node, self.text(start, left.extent.end.offset) + f' {other} ' +
                     self.text(right.extent.start.offset, end))


def arguments_of(command):
    """What clang needs to know to read a file as the compiler does."""
    return [a.replace('\\"', '"') for a in command.split() if re.match('-[DI]|-std', a)]


def find_in(job):
    """The faults of one unit of compilation: its own and those of our headers."""
    source, arguments = job
    import clang.cindex as ci
    unit = ci.Index.create().parse(source, args=arguments)
    bad = [d for d in unit.diagnostics if d.severity >= 3]
    if bad:
        sys.exit(f'faults.py: clang does not read {source}: {bad[0]}')
    planters = {}
    for node in unit.cursor.get_children():
        path = node.location.file and pathlib.Path(node.location.file.name)
        if path and path.is_relative_to(ROOT) and is_planted(path.relative_to(ROOT)):
            if path not in planters:
                planters[path] = Planter(path, ci.CursorKind)
            planters[path].walk_declarations(node)
    return [(p.file, place, fault) for p in planters.values() for place, fault in p.found.items()]


def is_planted(path):
    return path.suffix in ('.cc', '.h') and str(path).startswith(tuple(f + '/' for f in FOLDERS))


def find_all(plan):
    """Every fault, each place once, in order of files and places, with its key."""
    work = []
    for entry in json.loads((plan.out / 'compile_commands.json').read_text()):
        source = pathlib.Path(entry['file'])
        if source.is_relative_to(plan.copy) and is_planted(source.relative_to(plan.copy)):
            work.append((str(ROOT / source.relative_to(plan.copy)),
                         [a.replace(str(plan.copy), str(ROOT))
                          for a in arguments_of(entry['command'])]))
    places = {}
    with multiprocessing.Pool(plan.jobs) as pool:
        for some in pool.imap_unordered(find_in, work):
            for file, place, fault in some:
                places.setdefault((file, place), fault)
    faults, count = [], collections.Counter()
    for file, place in sorted(places):
        fault = places[file, place]
        stem = f'{file}:{fault.pop("function")}:{fault["kind"]}'
        count[stem] += 1
        faults.append({'key': f'{stem}:{count[stem]}', **fault})
    return faults


def rewrite(octets, faults):
    """The text with its faults put in, and where each was: brackets nest, the outer opens first."""
    result, at, open_ends, places = bytearray(), 0, [], []

    def close(until):
        nonlocal at
        while open_ends and open_ends[-1][0] <= until:
            end, after = open_ends.pop()
            result.extend(octets[at:end] + after.encode())
            at = end

    order = {'return': 0, 'condition': 0, 'statement': 0, 'logical': 1}
    for fault in sorted(faults, key=lambda f: (f['start'], -f['end'], order.get(f['kind'], 2))):
        close(fault['start'])
        result.extend(octets[at:fault['start']])
        at = fault['start']
        before = fault['before'].replace('on(@)', f'on({fault["id"]})', 1).encode()
        places.append((len(result), len(result) + len(before), fault))
        result.extend(before)
        open_ends.append((fault['end'], fault['after']))
    close(len(octets))
    return bytes(result + octets[at:]), places


# ---- Building ------------------------------------------------------------------------------------

class Plan:
    """The copy of the tree with its faults, and the build of it."""

    def __init__(self, options):
        self.folder = options.build.resolve()
        self.copy, self.out = self.folder / 'src', self.folder / 'out'
        self.file, self.helper = self.folder / 'faults.json', self.folder / 'fault.h'
        self.tests_from, self.jobs = options.tests_from, options.jobs
        self.only = set(options.ids.read_text().split()) if options.ids else None
        self.faults, self.dropped, self.places = [], set(), {}

    def run(self, *command, **more):
        return subprocess.run([str(word) for word in command], text=True, **more)

    def write(self, path, octets):
        """Writes what has changed, so that nothing else is compiled again."""
        if not path.is_file() or path.read_bytes() != octets:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(octets)

    def copy_tree(self):
        wanted = set()
        for folder, names, files in os.walk(ROOT):
            names[:] = [n for n in names if n not in ('.git', 'build')]
            wanted.update(pathlib.Path(folder, f).relative_to(ROOT) for f in files if f != '.git')
        source = dict.fromkeys(wanted, ROOT)
        if self.tests_from:
            other = [p.relative_to(self.tests_from) for top in ('tests', 'fuzz')
                     for p in (self.tests_from / top).rglob('*') if p.is_file()]
            source = {p: r for p, r in source.items() if p.parts[0] not in ('tests', 'fuzz')}
            source.update(dict.fromkeys(other, self.tests_from))
        for path, root in source.items():
            if not is_planted(path) or not (self.copy / path).exists():
                self.write(self.copy / path, (root / path).read_bytes())
                shutil.copymode(root / path, self.copy / path)
        for path in self.copy.rglob('*'):
            if path.is_file() and path.relative_to(self.copy) not in source:
                path.unlink()
        corpus = ROOT.parent / 'shared/corpus'  # a copy, as a fault may write anywhere
        if corpus.exists() and not (self.folder / 'shared/corpus').exists():
            shutil.copytree(corpus, self.folder / 'shared/corpus')

    def sources(self):
        return [p.relative_to(ROOT) for f in FOLDERS for p in sorted((ROOT / f).rglob('*'))
                if is_planted(p.relative_to(ROOT))]

    def configure(self):
        self.write(self.folder / 'quick.cmake', QUICK)
        flags = '-w -Wno-narrowing -ftrivial-auto-var-init=pattern ' \
                '-fno-diagnostics-show-caret -fdiagnostics-column-unit=byte'
        self.run('cmake', '-S', self.copy, '-B', self.out, '-G', 'Ninja', '-DCMAKE_BUILD_TYPE=None',
                 '-DCMAKE_CXX_COMPILER=g++', '-DCMAKE_C_COMPILER=gcc', f'-DCMAKE_CXX_FLAGS={flags}',
                 '-DKWPKI_TESTS=ON',
                 f'-DCMAKE_PROJECT_INCLUDE={self.folder}/quick.cmake', check=True,
                 stdout=subprocess.DEVNULL)

    def prepare(self):
        """Plants what is not planted yet and builds it; what does not compile is left out."""
        digest = hashlib.sha1(inspect.getsource(Planter).encode())
        for path in self.sources():
            digest.update(str(path).encode() + (ROOT / path).read_bytes())
        known = json.loads(self.file.read_text()) if self.file.is_file() else {}
        same = known.get('sources') == digest.hexdigest()
        self.run(ROOT / 'tools/setup.sh', 'library', 'tests', 'faults', check=True)
        self.copy_tree()
        self.configure()
        self.faults = known['faults'] if same else find_all(self)
        self.dropped = set(known['dropped']) if same else set()
        self.digest = digest.hexdigest()
        self.write(self.helper, HELPER.replace('@count@', str(len(self.faults))).encode())
        self.plant()
        for targets in (['kwpki', 'KwPki'], self.programs()):
            while True:
                result = self.run('ninja', '-C', self.out, '-j', self.jobs, '-k', '0', *targets,
                                  stdout=subprocess.PIPE)
                if result.returncode == 0:
                    break
                with (self.folder / 'build.log').open('a') as log:
                    log.write(result.stdout)
                self.drop(result.stdout)
                self.plant()
        return [f for f in self.faults if f['key'] not in self.dropped]

    def programs(self):
        targets = self.run('ninja', '-C', self.out, '-t', 'targets', 'all', check=True,
                           stdout=subprocess.PIPE).stdout
        return [name for name, rule in re.findall(r'^(\S+): (\S+)$', targets, re.M)
                if 'EXECUTABLE_LINKER' in rule and 'secret_exponent' not in name]

    def plant(self):
        by_file = collections.defaultdict(list)
        for number, fault in enumerate(self.faults):
            wanted = self.only is None or fault['key'] in self.only
            if wanted and fault['key'] not in self.dropped:
                by_file[fault['file']].append({**fault, 'id': number})
        for path in self.sources():
            text, self.places[str(path)] = rewrite((ROOT / path).read_bytes(), by_file[str(path)])
            if self.places[str(path)]:  # with what it calls, and its lines numbered as before
                text = f'#include "{self.helper}"\n#line 1\n'.encode() + text
            self.write(self.copy / path, text)
        self.file.write_text(json.dumps({'sources': self.digest, 'dropped': sorted(self.dropped),
                                         'faults': self.faults}, indent=0))

    def drop(self, output):
        """Leaves out the faults in which the compiler sees errors, or those of the same line."""
        before = len(self.dropped)
        for mark in (': error: ', ':   required from '):
            for file, line, column in set(re.findall(rf'^(\S+?):(\d+):(\d+){mark}', output, re.M)):
                file = pathlib.Path(os.path.normpath(self.out / file))
                file = str(file.relative_to(self.copy)) if file.is_relative_to(self.copy) else ''
                if not self.places.get(file):
                    continue
                line, text = int(line), (self.copy / file).read_bytes().split(b'\n', 2)[2]
                start = sum(map(len, text.splitlines(True)[:line - 1])) + int(column) - 1
                here = [f for a, b, f in self.places[file] if a <= start < b][-1:]
                here = here or [f for _, _, f in self.places[file] if f['line'] == line]
                self.dropped.update(f['key'] for f in here)
            if len(self.dropped) > before:
                break
        else:
            sys.exit('faults.py: the rewritten code does not build:\n' + output[-4000:])
        print(f'faults.py: {len(self.dropped)} faults do not compile', flush=True)


# ---- Running -------------------------------------------------------------------------------------

Unit = collections.namedtuple('Unit', 'argv env cwd gtest')  # a program, as ctest starts it


def list_tests(plan):
    """The tests that ctest knows: name -> unit. GoogleTest's are named program/Suite.Test."""
    listed = json.loads(plan.run('ctest', '--test-dir', plan.out, '--show-only=json-v1', check=True,
                                 stdout=subprocess.PIPE).stdout)['tests']
    tests = {}
    for test in listed:
        properties = {p['name']: p['value'] for p in test.get('properties', ())}
        argv = test.get('command', ())
        if not argv or properties.get('DISABLED') or re.search(NOT_RUN, test['name']):
            continue
        unit = Unit(tuple(argv), tuple(properties.get('ENVIRONMENT', ())),
                    properties.get('WORKING_DIRECTORY') if '.' in test['name'] else None, False)
        case = re.fullmatch(r'--gtest_filter=([^*:]+)', argv[1]) if len(argv) > 1 else None
        if case:
            unit = Unit(tuple(argv[:1]), (), None, True)
            tests[f'{os.path.basename(argv[0])}/{case.group(1)}'] = unit
        else:
            tests[test['name']] = unit
    return tests


def start_worker():
    """What a fault does stays small: no cores, little memory, short files, a folder of its own."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # by way of what ends the program
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))


def run_unit(unit, tests, environment, work, seconds, first=False):
    """Runs these tests of one program; returns what became of each, in order: test -> word."""
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    argv, cases = [*FIXED, *unit.argv], {}
    if unit.gtest:
        cases = {test.split('/', 1)[1].encode(): test for test in tests}
        argv += [b'--gtest_filter=' + b':'.join(cases), '--gtest_color=no']
        argv += ['--gtest_fail_fast'] * first
    environment = {**os.environ, **dict(e.split('=', 1) for e in unit.env), **environment,
                   'TMPDIR': str(work), 'MALLOC_PERTURB_': '165'}
    process = subprocess.Popen(argv, env=environment, cwd=unit.cwd or work, start_new_session=True,
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT)
    became, rest, current = {}, b'', None if unit.gtest else tests[0]

    def limit():
        return time.monotonic() + 5 + 10 * seconds.get(current, 60)
    end, code = limit(), None
    try:
        while select.select([process.stdout], [], [], max(0, end - time.monotonic()))[0]:
            octets = os.read(process.stdout.fileno(), 1 << 16)
            if not octets:
                code = process.wait(max(0.1, end - time.monotonic()))
                break
            *lines, rest = (rest + octets).split(b'\n')
            for mark in filter(None, map(MARK.search, lines)):
                word, test = mark.group(1).decode(), cases.get(mark.group(2))
                if test and word == 'RUN':
                    current = test
                    end = limit()
                elif test and test == current:  # those that failed are told of again at the end
                    became[test], current = 'fail' if word == 'FAILED' else 'pass', None
    except subprocess.TimeoutExpired:
        pass
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)  # it may have left something behind, too
        except ProcessLookupError:
            pass
        process.wait()
        process.stdout.close()
    if not unit.gtest:
        became[current] = 'hang' if code is None else ENDED[(code > 0) - (code < 0)]
    elif code is None or current or not became or code and 'fail' not in became.values():
        became[current or tests[0]] = 'hang' if code is None else 'crash'
    return became


def reach_of(job):
    """Runs one test without a fault: whether it passes, its time, and how often it reached each."""
    test, unit, work, count = job
    work, counts = work / str(os.getpid()), work / f'{os.getpid()}.reached'
    work.parent.mkdir(parents=True, exist_ok=True)
    counts.write_bytes(bytes(4 * count))
    became = run_unit(unit, [test], {'KWPKI_FAULT_REACHED': str(counts)}, work, {})
    start = time.monotonic()
    again = run_unit(unit, [test], {}, work, {})  # counting takes time, which is left out
    reached = array.array('I', counts.read_bytes())
    return test, became == again == {test: 'pass'}, round(time.monotonic() - start, 3), \
        {number: times for number, times in enumerate(reached) if times}


def find_reach(plan, tests, jobs):
    """The table of what reaches what, from a run of each test without a fault; kept in a file."""
    file = plan.folder / 'reach.json'
    newest = max(os.stat(unit.argv[0]).st_mtime for unit in tests.values())
    if file.is_file() and os.stat(file).st_mtime > newest:
        return json.loads(file.read_text())
    calls, reach, failing = collections.Counter(), {}, []
    work = [(test, unit, plan.folder / 'work', len(plan.faults)) for test, unit in tests.items()]
    with multiprocessing.Pool(jobs, start_worker) as pool:
        for test, passed, seconds, reached in pool.imap_unordered(reach_of, work):
            if passed:
                reach[test] = {'seconds': seconds, 'faults': list(reached)}
                calls.update(reached)
            else:
                failing.append(test)
    if failing:
        print('faults.py: left out, as they fail without a fault:', *sorted(failing))
    table = {'calls': calls, 'tests': reach, 'keys': [f['key'] for f in plan.faults]}
    file.write_text(json.dumps(table))
    return json.loads(file.read_text())


def try_fault(job):
    """Runs what reaches one fault, the cheapest first, and tells which tests find it."""
    number, fault, groups, calls, options, work, seconds = job
    environment = {'KWPKI_FAULT': str(number), 'KWPKI_FAULT_LIMIT': str(10 * calls + 3_000_000)}
    start, by = time.monotonic(), {}
    for unit, tests in groups:
        if by and (options.first or seconds[tests[0]] > options.slow):
            break
        for _ in range(4):  # what stands behind a crash is run again without it
            became = run_unit(unit, tests, environment, work / str(os.getpid()), seconds,
                              options.first)
            by.update({test: word for test, word in became.items() if word != 'pass'})
            last = list(became.values())[-1]
            tests = [test for test in tests if test not in became]
            if options.first or not tests or last != 'crash':
                break
        if list(by.values()).count('hang') > 1:
            break
    shutil.rmtree(work / str(os.getpid()), ignore_errors=True)
    return {**{k: fault[k] for k in ('key', 'file', 'line', 'kind', 'source')}, 'found': bool(by),
            'reached': bool(groups), 'by': by, 'seconds': round(time.monotonic() - start, 2)}


def run(options):
    signal.signal(signal.SIGTERM, signal.default_int_handler)  # ends the workers, too
    plan = Plan(options)
    planted = plan.prepare()
    tests = list_tests(plan)
    reach = find_reach(plan, tests, options.jobs)
    if options.seed is not None:
        random.Random(options.seed).shuffle(planted)
    if plan.only is not None:
        planted = [f for f in planted if f['key'] in plan.only]
    planted = planted[:options.sample]
    out = options.out or plan.folder / 'results.jsonl'
    if not options.out:
        out.unlink(missing_ok=True)
    results = read(out) if out.exists() else []
    out.parent.mkdir(parents=True, exist_ok=True)
    out.write_text(''.join(json.dumps(r) + '\n' for r in results))  # without a line cut off
    done = {r['key'] for r in results}
    number_of = {fault['key']: number for number, fault in enumerate(plan.faults)}
    reaching = collections.defaultdict(list)
    seconds = {}
    for test, row in reach['tests'].items():
        seconds[test] = row['seconds']
        for number in row['faults']:
            reaching[number].append(test)

    def groups(number):
        """Programs with those of their tests that reach the fault, slow tests by themselves."""
        found = collections.defaultdict(list)
        for test in reaching[number]:
            if seconds[test] <= options.longest:
                found[tests[test], test if seconds[test] > options.slow else ''].append(test)
        cost = {key: sum(map(seconds.get, names)) for key, names in found.items()}
        return [(key[0], found[key]) for key in sorted(found, key=lambda k: (k[1] != '', cost[k]))]

    work = ((n, f, groups(n), reach['calls'].get(str(n), 0), options, plan.folder / 'work',
             seconds) for f in planted for n in [number_of[f['key']]] if f['key'] not in done)
    with multiprocessing.Pool(options.jobs, start_worker) as pool, out.open('a') as file:
        for result in pool.imap_unordered(try_fault, work):
            file.write(json.dumps(result) + '\n')
            file.flush()
    report(out)


# ---- Reporting -----------------------------------------------------------------------------------

def read(file):
    """The results, and not a line that an interrupt cut off."""
    lines = file.read_text().split('\n')[:-1]
    return [json.loads(line) for line in lines if line.endswith('}')]


def report(file):
    results = read(file)
    for name, of in (('folder', lambda r: os.path.dirname(r['file'])),
                     ('kind', lambda r: r['kind']), ('', lambda r: 'all')):
        print(f'\n{name:20}{"planted":>9}{"reached":>9}{"found":>9}{"of reached":>12}')
        rows = collections.defaultdict(list)
        for result in results:
            rows[of(result)].append(result)
        for row, some in sorted(rows.items()):
            reached, found = (sum(r[k] for r in some) for k in ('reached', 'found'))
            print(f'{row:20}{len(some):9}{reached:9}{found:9}{found / max(1, reached):12.1%}')
    print('\nreached and not found:')
    for r in sorted(results, key=lambda r: (r['file'], r['line'])):
        if r['reached'] and not r['found']:
            print(f'{r["file"]}:{r["line"]}: {r["kind"]}: {r["source"]}')


def compare(old, new):
    old, new = ({r['key']: r for r in read(file)} for file in (old, new))
    both = [key for key in old if key in new and old[key]['found']]
    lost = [key for key in both if not new[key]['found']]
    for key in lost:
        r = new[key]
        print(f'{r["file"]}:{r["line"]}: {r["kind"]}: {r["source"]}  [{key}] was found by',
              *list(old[key]['by'])[:3])
    print(f'{len(lost)} of the {len(both)} faults that the first found and both tried are found no '
          f'more ({len(lost) / max(1, len(both)):.1%})')


def tell_tests(file, reach):
    """For each test, what only it finds; then the order in which tests add the most."""
    found = collections.defaultdict(set)
    for result in read(file):
        for test in result['by']:
            found[test].add(result['key'])
    count = collections.Counter(key for keys in found.values() for key in keys)
    all_tests = set(found) | set(json.loads(reach.read_text())['tests'] if reach.exists() else ())
    print(f'{"alone":>7}{"found":>7}  test')
    for test in sorted(all_tests, key=lambda t: (sum(count[k] == 1 for k in found[t]), t)):
        print(f'{sum(count[k] == 1 for k in found[test]):7}{len(found[test]):7}  {test}')
    print(f'\n{"more":>7}{"sum":>7}  in this order')
    left, total = set(count), 0
    while left:
        test = max(sorted(found), key=lambda t: len(found[t] & left))
        total += len(found[test] & left)
        print(f'{len(found[test] & left):7}{total:7}  {test}')
        left -= found.pop(test)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    path = pathlib.Path
    parser.add_argument('--build', type=path, default=ROOT / 'build/faults', metavar='DIR')
    parser.add_argument('--tests-from', type=path, metavar='DIR')
    parser.add_argument('--sample', type=int, metavar='N')
    parser.add_argument('--seed', type=int, metavar='S')
    parser.add_argument('--ids', type=path, metavar='FILE', help='only the faults of these keys')
    parser.add_argument('--jobs', type=int, default=2)
    parser.add_argument('--slow', type=float, default=1, metavar='SECONDS',
                        help='slower tests are asked only of what no quicker one finds')
    parser.add_argument('--longest', type=float, default=1e9, metavar='SECONDS',
                        help='leave out tests that take longer')
    parser.add_argument('--out', type=path, metavar='FILE')
    parser.add_argument('--first', action='store_true', help='stop at the first that finds it')
    parser.add_argument('--all', action='store_true', help='run all tests that reach it')
    parser.add_argument('--report', type=path, metavar='FILE')
    parser.add_argument('--compare', type=path, nargs=2, metavar=('OLD', 'NEW'))
    parser.add_argument('--tests', type=path, metavar='FILE')
    options = parser.parse_args()
    if options.report:
        report(options.report)
    elif options.compare:
        compare(*options.compare)
    elif options.tests:
        tell_tests(options.tests, options.build / 'reach.json')
    elif options.first or options.all:
        run(options)
    else:
        parser.error('--first, --all, --report, --compare or --tests is needed')


if __name__ == '__main__':
    main()
