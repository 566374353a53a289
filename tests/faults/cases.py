"""The calls that the sweep makes: one for each function letter and mode, with what it needs and what it changes."""

import os
import signal
import subprocess

OLD_TEXT = 'first line\nsecond line\n'
IDENTIFIER = '4711'


class Case:
    """A call of the agent. {d} in an argument is the installation's directory.

    files     what is written into the installation before: name from there on -> text
    given     those of them that the caller hands over with every call: a call after a killed one gets them again
    record    whether it answers with a record
    messages  beginnings of other messages that a call which says SUCCESS may have: it tells of the failure there
    growing   files to which every call adds
    answers   whether standard output is the answer
    reports   what standard error says of what a call that says SUCCESS has not done beside its work
    keeps     files that are still there when a message tells of a failure
    silent    what standard error says when the call ends without a record
    known     what is found and cannot be otherwise: pattern of the finding -> reason, told in docs/security.md
    """

    def __init__(self, name, *arguments, files=None, given=(), record=True, stdin='', messages=(), growing=(),
                 victim=False, listing=False, answers=False, reports=(), keeps=(), silent=None, known=None):
        self.name = name
        self.arguments = arguments
        self.files = files or {}
        self.given = given
        self.record = record
        self.stdin = stdin
        self.messages = messages
        self.growing = growing
        self.victim = victim
        self.listing = listing
        self.answers = answers or listing
        self.reports = reports
        self.keeps = keeps
        self.silent = silent
        self.known = known or {}

    def command(self, agent, directory):
        """The call's words."""
        words = [word.replace('{d}', directory) for word in self.arguments]
        return [agent, '-i', IDENTIFIER] + words

    def write_files(self, directory, names=None):
        """Writes the files that the call needs, or those of these names."""
        for name in self.files if names is None else names:
            path = os.path.join(directory, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, 'w', encoding='utf-8') as file:
                file.write(self.files[name].replace('{d}', directory))

    def start_victim(self, directory):
        """The process that k is to stop. Its number is in a file for the listing."""
        if not self.victim:
            return None
        process = subprocess.Popen(['vbc s TOUR1', '300'], executable='/bin/sleep', stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        with open(os.path.join(directory, 'victim'), 'w', encoding='ascii') as file:
            file.write(str(process.pid))
        return process


# Programs in front of PATH: what they tell of the machine is the same in every run.
PROGRAMS = {
    # The data server runs, and of the processes of the saveset those that have not ended.
    'ps': '''#!/bin/sh
echo 'PID PPID USER COMMAND'
echo '17 1 root vn_data_server'
[ ! -e {d}/victim ] || { read -r pid <{d}/victim
    grep -qs '^State:.[^Z]' /proc/$pid/status && echo "$pid 1 root vbc s TOUR1"; }
exit 0
''',
    'udevadm': '#!/bin/sh\nprintf "%s\\n" "N: sdb1" "E: ID_FS_UUID=1234"\n',
    'mount': '#!/bin/sh\nprintf "%s\\n" "/dev/sda1 on / type ext4 (rw)"\n',
    'load': '#!/bin/sh\nprintf "%s\\n" "loaded $*"\n',
}

MTF = {'rw/ini/mtf_extended_header.dat': 'header\n', 'rw/ini/mtf_trailer.dat': 'trailer\n',
       'rw/work/vnslis/SS1.hdr': 'an older header\n', 'rw/work/vnslis/SS1.trl': 'an older trailer\n'}
LIST = {'rw/work/list': OLD_TEXT}
VARIABLE = {'rw/glbv/gv_a.sgv': 'a value of some length'}
DRIVES = {'rw/glbv/gv_client_c_0.sgv': '0 /dev/nst4 LTO TAPE FILE 4',
          'rw/glbv/gv_client_c_1.sgv': '1 d1 DISK DISK_CHNG NONE 2'}
FIGURES = {'rw/info/perf_1.log': 'STATUS: VNS_WRT\nTHROUGHPUT: 12.5 GB/h\nNUMBER OF ACTIVE BACKUPS: 2\n'
                                 'NUMBER OF ACTIVE RESTORES: 0\nAMOUNT: 4711\nSTREAM INFO: 1:2\n'}

ENTRY = {'@(newfstatat|openat):.*:EACCES .*standard output': 'what the caller may not look at is no entry'}

CASES = (
    Case('G', '-f', 'G', '-n', 'gv_a', files=VARIABLE, messages=('??',)),
    Case('G:v', '-v', '-f', 'G', '-n', 'gv_a', files=VARIABLE, messages=('??',)),
    Case('R', '-f', 'R', '-n', 'gv_a', files=VARIABLE, given=VARIABLE, messages=('??',),
         reports=('glbv() delete ',), keeps=VARIABLE),
    Case('W', '-f', 'W', '-n', 'gv_a', '-s', 'new value', files=VARIABLE, messages=('??',)),
    Case('W:new', '-f', 'W', '-n', 'gv_new', '-s', 'new value', messages=('??',)),
    Case('e', '-f', 'e', '-n', '{d}/rw/work/list', files=LIST),
    Case('D', '-f', 'D', '-n', 'tour/new/deep'),
    Case('d', '-f', 'd', '{d}/../listed', record=False, listing=True, known=ENTRY),
    Case('d:r', '-r', '-f', 'd', '{d}/../listed/', record=False, listing=True, known=ENTRY),
    Case('d:MySQL', '-f', 'd', '/MySQL', record=False, answers=True),
    Case('f:p', '-f', 'f', '-m', 'p', '-s', 'tour', '-n', 'list', files={'rw/work/tour/list': OLD_TEXT}),
    Case('f:pd', '-f', 'f', '-m', 'pd', '-s', 'tour', '-n', 'list', files={'rw/work/tour/list': OLD_TEXT},
         given=('rw/work/tour/list',)),
    Case('f:g', '-f', 'f', '-m', 'g', '-t', 'tour', '-n', 'list',
         files={'server/list': OLD_TEXT, 'rw/work/tour/old': ''}),
    Case('u:c', '-f', 'u', '-m', 'c', '-n', 'list', '-s', 'another text', files=LIST),
    Case('u:c-', '-f', 'u', '-m', 'c', '-n', 'list', '-s', '-', files=LIST, stdin='of standard input\n' * 9),
    Case('u:w', '-f', 'u', '-m', 'w', '-n', 'list', '-s', 'another line', files=LIST, growing=LIST),
    Case('u:w-', '-f', 'u', '-m', 'w', '-n', 'list', '-s', '-', files=LIST, growing=LIST, stdin='more\n' * 9),
    Case('u:r', '-f', 'u', '-m', 'r', '-n', 'list', files=LIST, record=False, answers=True),
    Case('u:e', '-f', 'u', '-m', 'e', '-n', 'list', files=LIST, record=False),
    Case('u:x', '-f', 'u', '-m', 'x', '-n', 'list', files=LIST),
    Case('u:f', '-f', 'u', '-m', 'f', '-n', 'list', '-s', 'second^', files=LIST),
    Case('u:d', '-f', 'u', '-m', 'd', '-n', 'list', files=LIST, given=LIST),
    Case('u:d*', '-f', 'u', '-m', 'd', '-n', 'list*', files={'rw/work/list1': '', 'rw/work/list2': ''},
         given=('rw/work/list1', 'rw/work/list2')),
    Case('u:m', '-f', 'u', '-m', 'm', '-n', 'list', '-s', '600', files=LIST),
    Case('u:i', '-f', 'u', '-m', 'i', '-n', 'VN_INI', '-s', '[SETUP]', '-t', 'lang'),
    Case('u:C', '-f', 'u', '-m', 'C', '-n', 'gv_rw_ini:vns.ini', '-s', 'Tape', '-t', 'Block_Size', '-d', '128'),
    Case('k', '-f', 'k', '-s', 'TOUR1', victim=True, silent='processes cannot be listed: '),
    Case('m', '-f', 'm', '-s', 'SS1', files=MTF),
    Case('p', '-f', 'p', '-d', '/dev/nst4', '-s', '1', files=FIGURES,
         known={'rsh_4711': 'the record has the figures, too'}),
    Case('p:r', '-r', '-f', 'p', '-d', '/dev/nst4', '-s', '1', files=FIGURES, answers=True),
    Case('r', '-f', 'r'),
    Case('t:tape', '-f', 't', '-d', '/dev/nst4', '-t', 'TAPE_DRIVE', messages=('No tape in drive: mt',),
         files={'rw/work/drive.states': '1 Medium not present\n'}),
    Case('t:hard', '-f', 't', '-d', 'disk1', '-t', 'DISK_HARD', files={'rw/ini/disk1': 'empty\n0\n'}),
    Case('t:path', '-f', 't', '-d', 'disk1', '-t', '{d}/rw/work', messages=('No tape in drive',)),
    Case('t:load', '-f', 't', '-d', '/dev/sdb1', '-t', 'd1', '-n', 'load',
         known={'rw/work/diskmnt/d1 is missing': 'the load command may make it, and says whether it has loaded'}),
    Case('x', '-f', 'x', '-u', 'root', '-s', 'vn_perf 2 IDLE'),
    Case('x:words', '-f', 'x', '-u', 'root', 'vn_perf', '2', 'IDLE'),
    Case('x:copy', '-f', 'x', '-u', 'vbccopy', '-s', 'cp list copy', files=LIST, messages=('Error during',),
         known={'record says ERROR, exit status is 0': 'the status is the raw one of the shell'}),
    Case('c', '-f', 'c', '-d', '2', given=DRIVES, messages=('Configured 2 VNS-drives, restart',),
         reports=('glbv() delete ',),
         known={'rw/ini/disk1 is neither old nor new: missing': 'deleted before the new one takes its place'},
         files=dict(DRIVES, **{'rw/ini/disk1': '/mnt/older\n0\n', 'rw/ini/disk7': 'empty\n0\n'})),
)
