"""Every call of the system fails once, every change is once the last one. Called by scripts/faults, see there."""

import argparse
import collections
import ctypes
import multiprocessing
import os
import re
import resource
import select
import shlex
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time

import cases

CANNOT = 77      # exit status: this machine cannot trace
PATIENCE = 25    # seconds after which a call hangs; no lock is waited for longer
SLEEP = 'clock_nanosleep,nanosleep'
LISTED = {False: 12, True: 1500}    # entries of the directory that is listed: when calls fail, when memory does

DISK = ('ENOSPC', 'EIO', 'EINTR', 'EAGAIN')
PLACE = ('EACCES', 'EIO', 'ENOSPC')

# What fails how. Not here: close, whose injected failure leaks the descriptor, brk, which the C library does not
# survive, and what cannot fail.
ERRORS = {
    'openat': ('EMFILE', 'EACCES', 'EIO'), 'read': ('EIO', 'EINTR'), 'pread64': ('EIO', 'EINTR'),
    'write': DISK, 'pwrite64': DISK, 'writev': DISK, 'copy_file_range': ('EIO', 'ENOSPC', 'EINTR'),
    'unlink': PLACE, 'unlinkat': PLACE, 'rmdir': PLACE, 'rename': PLACE, 'renameat': PLACE, 'renameat2': PLACE,
    'link': PLACE, 'linkat': PLACE, 'mkdir': PLACE, 'mkdirat': PLACE, 'chmod': ('EPERM', 'EIO'),
    'fchmod': ('EPERM', 'EIO'), 'fchmodat': ('EPERM', 'EIO'), 'fchown': ('EPERM',), 'fsync': ('EIO', 'ENOSPC'),
    'ftruncate': ('EIO', 'EINTR'), 'fallocate': ('ENOSPC', 'EINTR'), 'getdents64': ('EIO', 'ENOMEM'),
    'clone': ('EAGAIN', 'ENOMEM'), 'clone3': ('EAGAIN', 'ENOMEM'), 'fork': ('EAGAIN',), 'vfork': ('EAGAIN',),
    'pipe2': ('EMFILE', 'ENFILE'), 'socket': ('EMFILE',), 'connect': ('ECONNREFUSED', 'EINTR'),
    'poll': ('EINTR',), 'ppoll': ('EINTR',), 'pselect6': ('EINTR',), 'wait4': ('EINTR',), 'waitid': ('EINTR',),
    'newfstatat': ('EACCES', 'EIO'), 'fstat': ('EIO',), 'stat': ('EACCES', 'EIO'), 'lstat': ('EACCES', 'EIO'),
    'access': ('EACCES', 'EIO'), 'chdir': ('EACCES', 'EIO'), 'getcwd': ('EACCES',), 'readlink': ('EIO',),
    'flock': ('ENOLCK', 'EINTR'), 'dup2': ('EMFILE', 'EINTR'), 'dup3': ('EMFILE', 'EINTR'), 'ioctl': ('EIO',),
    'mmap': ('ENOMEM',), 'mremap': ('ENOMEM',),
}
CHANGES = {'write', 'pwrite64', 'writev', 'copy_file_range', 'unlink', 'unlinkat', 'rmdir', 'rename', 'renameat',
           'renameat2', 'link', 'linkat', 'symlink', 'mkdir', 'mkdirat', 'chmod', 'fchmod', 'fchmodat', 'fchown',
           'ftruncate', 'fallocate', 'clone', 'clone3', 'fork', 'vfork', 'kill'}

# What may differ: logs, the result's variables, which may be lost, what the stand-ins note, and files that only
# pass something on within the call.
VOLATILE = re.compile(r'rw/lgc/|rw/prot/|rw/glbv/gv_client_(sts|msg)_|rw/work/(called\.log|drive\.calls|sem/)|'
                      r'rw/tmp/pid_list_|rw/work/(mt_status_result|load_)|victim$')
RECORD = re.compile(r'^ID=%s\nSTATUS=(\w+) MSG=(.*)$' % cases.IDENTIFIER, re.M)
NO_MEMORY = re.compile(r'^ID=\nSTATUS=ERROR MSG=out of memory$', re.M)  # before the identifier was read
WORDS = {0: 'SUCCESS', 1: 'WARNING', 2: 'ERROR'}

Step = collections.namedtuple('Step', 'kind call number error text')  # kind: FAIL, KILL or MEMORY
Outcome = collections.namedtuple('Outcome', 'status word message out err')


def name_of(case, step):
    """How a run is named on the command line."""
    place = {'FAIL': '{0.call}:{0.number}:{0.error}', 'KILL': 'KILL:{0.call}:{0.number}', 'MEMORY': 'MEMORY:{0.number}'}
    return f'{case.name}@' + place[step.kind].format(step)


def step_of(text):
    """The other way round."""
    parts = text.split(':')
    if parts[0] == 'MEMORY':
        return Step('MEMORY', '', int(parts[1]), '', '')
    if parts[0] == 'KILL':
        return Step('KILL', parts[1], int(parts[2]), '', '')
    return Step('FAIL', parts[0], int(parts[1]), parts[2], '')


# ---- the installation ----------------------------------------------------------------------------

def state_of(path):
    """What counts of a file: its kind and mode, and its content."""
    status = os.lstat(path)
    if stat.S_ISLNK(status.st_mode):
        return (status.st_mode, os.readlink(path))
    if not stat.S_ISREG(status.st_mode):
        return (status.st_mode, None)
    with open(path, 'rb') as file:
        return (status.st_mode, file.read())


class Installation:
    """A directory that is put back after every run; nothing else is as quick as changing only what differs."""

    def __init__(self, options, directory, case):
        self.directory = directory
        self.programs = directory + '/../programs'
        shutil.rmtree(directory, ignore_errors=True)
        subprocess.run([options.root + '/sandbox/make_installation', directory, options.programs], check=True,
                       stdout=subprocess.DEVNULL)
        self.environment = {'LC_ALL': 'C', 'TZ': 'UTC', 'HOME': directory, 'VORNA_INI': directory + '/vorna.ini',
                            'PATH': ':'.join((self.programs, directory + '/ro/drive', '/usr/bin:/bin'))}
        self.write_programs(options)
        if case.victim:  # the catalogue is filled by its first statement
            subprocess.run([directory + '/ro/db/damisql', '-d', 'vorna_db', '-q', 'select os from syntaxes'],
                           check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, env=self.environment)
        case.write_files(directory)
        self.fixed = self.identities()
        self.before = self.tree()

    def write_programs(self, options):
        """The programs in front of PATH, and the directory that is listed."""
        os.makedirs(self.programs, exist_ok=True)
        scripts = {os.path.join(self.programs, name): text for name, text in cases.PROGRAMS.items()}
        scripts[self.directory + '/ro/bin/vn_main'] = '#!/bin/sh\n'  # nothing runs on behind the call
        for path, text in scripts.items():
            with open(path, 'w', encoding='utf-8') as file:
                file.write(text.replace('{d}', self.directory))
            os.chmod(path, 0o755)
        os.unlink(self.directory + '/ro/bin/vn_client')
        os.symlink(options.agent, self.directory + '/ro/bin/vn_client')
        listed = self.directory + '/../listed'
        if not os.path.isdir(listed):
            os.mkdir(listed)
            for number in range(LISTED[options.memory]):
                os.symlink('/', f'{listed}/a directory, seen through link number {number:05}')

    def walk(self):
        """All files and directories, by their names from the installation on."""
        for path, directories, files in os.walk(self.directory):
            for name in directories + files:
                full = os.path.join(path, name)
                yield os.path.relpath(full, self.directory), full

    def identities(self):
        """Of the files that only a fault of the agent changes: what tells quickly that none has."""
        return {name: os.lstat(full)[:10] for name, full in self.walk() if name.startswith('ro/')}

    def tree(self):
        """The state of all files; those of ro/ only when they are no longer the same."""
        result = {}
        for name, full in self.walk():
            status = os.lstat(full)
            same = self.fixed.get(name) and status[:7] == self.fixed[name][:7] and status[8:10] == self.fixed[name][8:10]
            result[name] = 'as it was' if same and stat.S_ISREG(status.st_mode) else state_of(full)
        return result

    def put_back(self):
        """Makes the installation what it was."""
        now = self.tree()
        for name in sorted(now, reverse=True):
            if name not in self.before or now[name] != self.before[name]:
                full = os.path.join(self.directory, name)
                if stat.S_ISDIR(os.lstat(full).st_mode):
                    if name not in self.before:
                        os.rmdir(full)
                else:
                    os.unlink(full)
        for name, state in self.before.items():
            if now.get(name) == state:
                continue
            full = os.path.join(self.directory, name)
            mode, content = state
            if stat.S_ISDIR(mode):
                os.makedirs(full, exist_ok=True)
            else:
                with open(full, 'wb') as file:
                    file.write(content)
            os.chmod(full, stat.S_IMODE(mode))


# ---- a run ---------------------------------------------------------------------------------------

def adopt_orphans():
    """What a killed agent leaves running becomes a child of this process, which can wait for its end."""
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER


def reap(seconds, keep=None):
    """Waits for all children but one. False when some are left."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        try:
            pid, _ = os.waitpid(-1, os.WNOHANG)
        except ChildProcessError:
            return True
        if pid == 0:
            if keep is not None and only_child(keep):
                return True
            time.sleep(0.002)
        elif keep is not None and pid == keep.pid:
            keep.returncode = 0
            keep = None
    return False


def only_child(process):
    """Whether the process is the only one that is left."""
    with open(f'/proc/self/task/{os.getpid()}/children', encoding='ascii') as file:
        return file.read().split() == [str(process.pid)]


def end_group(group):
    """Ends what a run has started and not ended."""
    try:
        os.killpg(group, signal.SIGKILL)
    except ProcessLookupError:
        pass


def run(words, place, stdin, victim):
    """Runs a command with its streams in files. Returns status (None: it hangs), output and errors."""
    paths = [place.directory + '/../' + name for name in ('in', 'out', 'err')]
    with open(paths[0], 'w', encoding='ascii') as file:
        file.write(stdin)
    with open(paths[0], 'rb') as given, open(paths[1], 'wb') as out, open(paths[2], 'ab') as err:
        err.truncate(0)
        process = subprocess.Popen(words, stdin=given, stdout=out, stderr=err, env=place.environment,
                                   cwd=place.directory, start_new_session=True)
        handle = os.pidfd_open(process.pid)
        ended = select.select([handle], [], [], PATIENCE)[0]
        os.close(handle)
        if ended:
            process.wait()
    if not ended or not reap(PATIENCE, victim):
        end_group(process.pid)
        reap(PATIENCE, victim)
        ended = False
    texts = []
    for path in paths[1:]:
        with open(path, encoding='utf-8', errors='replace') as file:
            texts.append(file.read())
    return process.returncode if ended else None, texts[0], texts[1]


def outcome_of(status, out, err):
    """What a call has answered."""
    record = RECORD.search(err)
    return Outcome(status, record[1] if record else None, record[2] if record else None, out, err)


class Bench:
    """A worker's installation for one case, and how the case ends when nothing fails."""

    def __init__(self, options, directory, case):
        self.options = options
        self.case = case
        self.log = directory + '/../trace'
        self.place = Installation(options, directory, case)
        self.words = case.command(options.agent, directory)
        self.clean, _ = self.call(self.traced('all', []))
        self.trace = self.read_trace()
        self.after = self.place.tree()
        self.place.put_back()

    def traced(self, calls, injections, before=()):
        """The call under strace, behind the words before it. Nobody waits in it."""
        words = ['strace', '-qq', '-s', '128', '-o', self.log, '-e', f'trace={calls},{SLEEP}']
        for injection in injections + [SLEEP + ':retval=0']:
            words += ['-e', 'inject=' + injection]
        return words + list(before) + self.words

    def words_of(self, step):
        """The command of a run."""
        if step.kind == 'MEMORY':
            limited = ['sh', '-c', 'ulimit -v "$0" && exec "$@"', str(step.number)]
            return self.traced('exit_group', [], limited)
        what = 'signal=KILL' if step.kind == 'KILL' else 'error=' + step.error
        return self.traced(step.call, [f'{step.call}:{what}:when={step.number}'])

    def call(self, words):
        """Runs a command of the case. Returns its outcome and whether the process to be stopped is gone."""
        victim = self.case.start_victim(self.place.directory)
        outcome = outcome_of(*run(words, self.place, self.case.stdin, victim))
        stopped = victim is None or victim.returncode is not None or victim.poll() is not None
        if not stopped:
            victim.kill()
            victim.wait()
        return outcome, stopped

    def read_trace(self):
        """The system calls of the clean run, from the first look at the configuration on."""
        steps = []
        counts = collections.Counter()
        began = False
        with open(self.log, encoding='utf-8', errors='replace') as file:
            for line in file:
                call = line.split('(')[0]
                if not call.isidentifier():
                    continue
                counts[call] += 1
                began = began or (call == 'openat' and '/vorna.ini"' in line)
                if began:
                    steps.append(Step('', call, counts[call], '', line.rstrip()))
        return steps


def can_fail(step):
    """The errors with which a call of the trace is to fail."""
    if step.call == 'fcntl':
        return ('ENOLCK', 'EINTR') if 'F_SETLK' in step.text else ('EMFILE',) if 'F_DUPFD' in step.text else ()
    return ERRORS.get(step.call, ())


def changes(step):
    """Whether a call of the trace leaves something behind."""
    if step.call in ('openat', 'open'):
        return 'O_CREAT' in step.text or 'O_TRUNC' in step.text
    return step.call in CHANGES


def steps_of(trace):
    """All runs for a trace: what fails, and what is the last; the kill comes with the call behind it."""
    for step, following in zip(trace, trace[1:] + [None]):
        if changes(step) and following is not None:
            yield Step('KILL', following.call, following.number, '', 'behind ' + step.text)
        for error in can_fail(step):
            yield Step('FAIL', step.call, step.number, error, step.text)


# ---- judging -------------------------------------------------------------------------------------

def whole(text):
    """A file's content as its readers take it: an INI file may end with blank lines while it is rewritten."""
    return text.rstrip(b'\n') if isinstance(text, bytes) else text


def broken_files(bench, tree):
    """Old files that are neither what they were nor what they are to become."""
    for name, state in bench.place.before.items():
        if VOLATILE.match(name) or state == 'as it was':
            continue
        allowed = [whole(states[name][1]) if name in states else None for states in (bench.place.before, bench.after)]
        found = whole(tree[name][1]) if name in tree else None
        gone_is_new = name not in bench.after and name not in tree
        if found not in allowed and not gone_is_new or name not in tree and None not in allowed:
            yield f'{name} is neither old nor new: ' + (repr(found)[:60] if name in tree else 'missing')


def blank_variables(tree):
    """Variables that hold a text without a letter: one that is being made is empty, which reads as missing."""
    for name, state in tree.items():
        if name.startswith('rw/glbv/') and state[1] and not whole(state[1]):
            yield f'{name} is blank'


def missing_effects(bench, tree, stopped):
    """What a call that says it is done has not done."""
    for name in sorted(set(tree) | set(bench.after)):
        if not VOLATILE.match(name) and tree.get(name) != bench.after.get(name):
            yield f'says it is done, but {name} is ' + ('missing' if name not in tree else repr(tree[name])[:60])
    if not stopped:
        yield 'says it is done, but the process runs'


def wrong_variables(bench, outcome, tree):
    """Result variables that say something else; they may be lost."""
    for kind, value in (('sts', str(outcome.status)), ('msg', outcome.message)):
        state = tree.get(f'rw/glbv/gv_client_{kind}_{cases.IDENTIFIER}.sgv')
        if value is None or state is None or state[1] in (b'', value.encode()):
            continue
        if kind != 'sts' or int(state[1]) & 255 != outcome.status:  # the exit status is the number's last byte
            yield f'variable gv_client_{kind} holds {state[1]!r}'


def is_record_write(step):
    """Whether the run takes away the record itself."""
    return step.kind == 'FAIL' and step.call == 'write' and step.error in ('ENOSPC', 'EIO') and 'STATUS=' in step.text


def judge_answer(bench, step, outcome, tree, stopped):
    """Findings in what a call that has not been killed answers."""
    if outcome.status is None:
        return ['hangs']
    if outcome.status < 0:
        return [f'ended by signal {-outcome.status}']
    findings = []
    clean = bench.clean
    silent = bench.case.silent and bench.case.silent in outcome.err or NO_MEMORY.search(outcome.err)
    if bench.case.record and outcome.word is None and not silent and not is_record_write(step):
        findings.append(f'no record, exit status {outcome.status}')
    if outcome.word is not None and outcome.word != WORDS.get(outcome.status, 'ERROR'):
        findings.append(f'record says {outcome.word}, exit status is {outcome.status}')
    told = outcome.message is not None and outcome.message.startswith(bench.case.messages or ('\0',))
    if told:
        findings += [f'tells a failure, but {name} is gone' for name in bench.case.keeps if name not in tree]
    elif outcome.status == clean.status and (clean.status == 0 or outcome.message == clean.message):
        if not any(text in outcome.err for text in bench.case.reports):
            findings += missing_effects(bench, tree, stopped)
        if outcome.out != clean.out and bench.case.answers and not told_on_screen(bench, outcome):
            findings.append('says it is done, but standard output differs')
        if outcome.message != clean.message and outcome.message is not None:
            findings.append(f'says {outcome.word} {outcome.message!r}')
    return findings + list(wrong_variables(bench, outcome, tree))


def told_on_screen(bench, outcome):
    """A directory that cannot be opened gives an empty listing, which standard error tells."""
    return bench.case.listing and 'ERROR: opendir(' in outcome.err


def judge_next(bench, left):
    """Findings in a call after a killed one: it must succeed, whatever that one has left."""
    bench.case.write_files(bench.place.directory, bench.case.given)
    outcome, stopped = bench.call(bench.traced('exit_group', []))
    if (outcome.status, outcome.word) != (bench.clean.status, bench.clean.word):
        return [f'a call behind it answers {outcome.status} {outcome.word} {outcome.message}']
    tree = bench.place.tree()
    for name in bench.case.growing:
        tree[name] = bench.after[name]
    for name in left:
        tree.pop(name, None)
    return ['a call behind it ' + text for text in missing_effects(bench, tree, stopped)]


def not_started(step, outcome):
    """Whether memory did not suffice for the program to begin."""
    return step.kind == 'MEMORY' and outcome.status == 127


def one_run(bench, step):
    """Makes a run. Returns its outcome, its findings, and the names of what it has left behind."""
    outcome, stopped = bench.call(bench.words_of(step))
    tree = bench.place.tree()
    killed = step.kind == 'KILL' and outcome.status == -signal.SIGKILL
    findings = list(broken_files(bench, tree)) + list(blank_variables(tree))
    left = [name for name in tree if name not in bench.place.before and name not in bench.after
            and not VOLATILE.match(name)]
    if not killed and not not_started(step, outcome):
        findings += judge_answer(bench, step, outcome, tree, stopped)
    if killed or left:
        findings += judge_next(bench, left)
    bench.place.put_back()
    return outcome, findings, left


def outcome_text(outcome):
    """An outcome as the table counts it."""
    if outcome.status is None:
        return 'hang'
    return 'killed' if outcome.status == -9 else f'{outcome.status} {outcome.word or "-"}'


# ---- memory --------------------------------------------------------------------------------------

def memory_steps(bench):
    """Limits from the least with which the program begins at all, up to one that hinders nothing."""
    def status(limit, words):
        return subprocess.run(['sh', '-c', 'ulimit -v "$0" && exec "$@"', str(limit)] + words, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              env=bench.place.environment).returncode
    low, high = 512, 65536
    while high - low > 16:
        middle = (low + high) // 2
        if status(middle, [bench.options.agent, '-h']) in (1, 2):  # the help, or "out of memory"
            high = middle
        else:
            low = middle
    return [Step('MEMORY', '', limit, '', '') for limit in range(high, high + 3072, 32)]


# ---- all of it -----------------------------------------------------------------------------------

worker = {}  # in a worker process: its options, its directory, and the bench for the case in hand


def begin_worker(options, directory):
    """Called in each worker process."""
    adopt_orphans()
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    worker.update(options=options, directory=tempfile.mkdtemp(prefix='w', dir=directory) + '/i', bench=None)


def bench_for(index):
    """This worker's bench for a case."""
    case = cases.CASES[index]
    if worker['bench'] is None or worker['bench'].case is not case:
        worker['bench'] = Bench(worker['options'], worker['directory'], case)
    return worker['bench']


def work_trace(index):
    """The clean run of a case: its outcome and the runs to make."""
    bench = bench_for(index)
    steps = memory_steps(bench) if worker['options'].memory else list(steps_of(bench.trace))
    return bench.clean, steps


def work_run(task):
    """One run, by its case and step."""
    index, step = task
    return (task,) + one_run(bench_for(index), step)


def evenly(steps, most):
    """At most so many beside those of changes, which are all made; the others are spread evenly."""
    if not most or len(steps) <= most:
        return steps
    always = [step for step in steps if step.kind == 'KILL' or changes(step)]
    others = [step for step in steps if step.kind != 'KILL' and not changes(step)]
    return always + [others[i * len(others) // most] for i in range(min(most, len(others)))]


def known_reason(case, step, finding):
    """Why a finding cannot be otherwise; None for one that can."""
    text = f'{name_of(case, step)} {finding}'
    return next((reason for part, reason in case.known.items() if re.search(part, text)), None)


def show_table(rows):
    """A line per function: runs, findings, and the runs by exit status and status word."""
    print('\nfunction   runs  findings  known  exit status and status word by number of runs')
    for name, row in rows.items():
        words = ', '.join(f'{word}: {count}' for word, count in row['outcomes'].most_common())
        print(f'{name:<10}{sum(row["outcomes"].values()):>5}{row["findings"]:>10}{row["known"]:>7}  {words}')


def sweep(options, pool, indices):
    """All runs. Returns the number of findings."""
    rows = {}
    began = time.monotonic()
    for index in indices:
        case = cases.CASES[index]
        clean, steps = pool.apply(work_trace, (index,))
        steps = evenly(steps, options.most)
        row = rows[case.name] = {'outcomes': collections.Counter(), 'findings': 0, 'known': 0}
        left_by = collections.Counter()
        for (_, step), outcome, findings, left in pool.imap_unordered(work_run, [(index, step) for step in steps], 4):
            row['outcomes'][outcome_text(outcome)] += 1
            left_by.update(re.sub(r'\d+', 'N', name) for name in left)
            for finding in findings:
                reason = known_reason(case, step, finding)
                row['known' if reason else 'findings'] += 1
                if not reason:
                    print(f"{name_of(case, step)}  {finding}\n    {step.text[:150]}\n    again: scripts/faults "
                          f"{shlex.quote(name_of(case, step))}", flush=True)
        print(f'{case.name}: clean {clean.status} {clean.word or "-"}, {len(steps)} runs, {row["findings"]} findings'
              + (f', left behind: {dict(left_by)}' if left_by else ''), flush=True)
    show_table(rows)
    total = sum(sum(row['outcomes'].values()) for row in rows.values())
    findings = sum(row['findings'] for row in rows.values())
    print(f'\n{total} runs in {time.monotonic() - began:.0f} s, {findings} findings')
    return findings


def show(options, directory, name):
    """Makes one run and shows all of it. Returns the number of findings."""
    begin_worker(options, directory)
    case_name, step = name.split('@', 1)
    index = next(i for i, case in enumerate(cases.CASES) if case.name == case_name)
    bench = bench_for(index)
    step = step_of(step)
    text = next((known.text for known in bench.trace if (known.call, known.number) == (step.call, step.number)), '')
    step = step._replace(text=text)
    print(shlex.join(bench.words_of(step)))
    outcome, findings, left = one_run(bench, step)
    print(f'call       {text}\nstatus     {outcome.status}\noutput     {outcome.out[:400]!r}\nerrors\n{outcome.err}')
    print('left       ' + ', '.join(left))
    for finding in findings:
        print('FINDING    ' + finding)
    return len(findings)


def chosen(names):
    """The cases of these names: a letter means all of its modes."""
    for name in names:
        if not any(case.name == name or case.name.split(':')[0] == name for case in cases.CASES):
            sys.exit('faults: no such function: ' + name + '; there are ' + ' '.join(case.name for case in cases.CASES))
    return [i for i, case in enumerate(cases.CASES)
            if not names or case.name in names or case.name.split(':')[0] in names]


def can_trace():
    """Whether strace is there and may trace."""
    return shutil.which('strace') and subprocess.run(
        ['strace', '-qq', '-o', '/dev/null', '-e', 'inject=read:error=EINTR:when=999', 'true'], check=False,
        stderr=subprocess.DEVNULL).returncode == 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--agent', required=True, type=os.path.abspath)
    parser.add_argument('--programs', required=True, type=os.path.abspath)
    parser.add_argument('--most', type=int, default=0, help='runs per function in which no change fails')
    parser.add_argument('names', nargs='*')
    options = parser.parse_args()
    options.root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    options.memory = 'memory' in options.names
    names = [name for name in options.names if name != 'memory']
    if not can_trace():
        print('faults: strace is missing or may not trace here')
        return CANNOT
    parent = '/dev/shm' if os.access('/dev/shm', os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix='vnf', dir=parent) as directory:
        options.agent = shutil.copy(options.agent, directory)  # the one that is built may change meanwhile
        if names and '@' in names[0]:
            return 1 if show(options, directory, names[0]) else 0
        with multiprocessing.Pool(os.cpu_count(), begin_worker, (options, directory)) as pool:
            return 1 if sweep(options, pool, chosen(names)) else 0


if __name__ == '__main__':
    sys.exit(main())
