"""sendmail with a mail program that says and does what a test wants, and with a real one, dma, that delivers
into a mailbox.

The program's place, /usr/lib/sendmail or /usr/sbin/sendmail, is fixed. So the tests run in a mount namespace of
their own, where both folders, the mailboxes and the queue are copies; what the system has stays as it is. Where no
namespace can be made they are skipped, and dma needs root.
"""

import email
import os
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import private_mounts
from page_runner import PageTest
from private_mounts import mount, unmount
from program import TIMEOUT

LIBRARY, SYSTEM = Path("/usr/lib/sendmail"), Path("/usr/sbin/sendmail")
DMA = Path("/usr/sbin/dma")
HAS_DMA = DMA.exists() and private_mounts.is_root()
MESSAGE = "To: nobody@localhost\nSubject: hello\n\nThe body.\n"


def setUpModule():
    if not private_mounts.available():
        raise unittest.SkipTest("no mount namespace can be made here")
    layer = Path(tempfile.mkdtemp(prefix="quillet-mail-"))
    unittest.addModuleCleanup(layer.rmdir)
    mount("-t", "tmpfs", "tmpfs", layer)
    unittest.addModuleCleanup(unmount, layer)
    for folder in (LIBRARY.parent, SYSTEM.parent):
        upper, work = layer / folder.name, layer / (folder.name + ".work")
        upper.mkdir()
        work.mkdir()
        mount("-t", "overlay", "overlay", "-o", f"lowerdir={folder},upperdir={upper},workdir={work}", folder)


class MailTest(PageTest):
    def setUp(self):
        super().setUp()
        for place in (LIBRARY, SYSTEM):
            place.unlink(missing_ok=True)

    def stand_in(self, commands, place=LIBRARY, mode=0o755):
        """A mail program that runs these shell commands in the folder of the test."""
        place.write_text(f"#!/bin/sh\ncd '{self.root}'\n{commands}\n")
        place.chmod(mode)

    def send(self, message=MESSAGE, environment=None, **options):
        return self.run_page(f"(^sendmail[{message}])", environment, **options)

    def read(self, name):
        return (self.root / name).read_bytes()


class StandIn(MailTest):
    def test_the_message_arrives_whole(self):
        self.stand_in("cat > message")
        self.assertEqual(self.send(), "()")
        self.assertEqual(self.read("message").decode(), MESSAGE)

    def test_the_program_gets_one_argument(self):
        self.stand_in('cat > message; echo "$# $1" > arguments')
        self.assertEqual(self.send(), "()")
        self.assertEqual(self.read("arguments"), b"1 -t\n")

    def test_the_program_is_called_by_its_name(self):
        # Mail programs do different things under different names. With -t, bash runs one command of its input.
        shutil.copy("/bin/bash", LIBRARY)
        self.assertEqual(self.send("echo $0\n"), "([sendmail reported error: sendmail\n, #0])")

    def test_a_message_of_a_megabyte_arrives_whole(self):
        self.stand_in("cat > message")
        message = MESSAGE + "0123456789abcde\n" * 65536
        self.assertEqual(self.send(message), "()")
        self.assertEqual(self.read("message").decode(), message)

    def test_a_status_without_output_is_unknown(self):
        self.stand_in("cat > message; exit 75")
        self.assertEqual(self.send(), "([sendmail reported error: UNKNOWN, #75])")

    def test_output_counts_even_with_status_0(self):
        self.stand_in("cat > message; printf queued")
        self.assertEqual(self.send(), "([sendmail reported error: queued, #0])")

    def test_output_and_status_are_shown(self):
        self.stand_in("cat > message; echo no such user; exit 67")
        self.assertEqual(self.send(), "([sendmail reported error: no such user\n, #67])")

    def test_at_most_1023_bytes_of_the_output_are_shown(self):
        self.stand_in(f"cat > message; printf {'x' * 2000}")
        self.assertRegex(self.send(), r"^\(\[sendmail reported error: x{1023}, #(0|-2)\]\)$")

    def test_the_output_is_cut_at_a_nul_byte(self):
        self.stand_in(r"cat > message; printf 'a\0b'")
        self.assertEqual(self.send(), "([sendmail reported error: a, #0])")

    def test_output_that_begins_with_a_nul_byte_is_reported_without_a_word(self):
        self.stand_in(r"cat > message; printf '\0a'")
        self.assertEqual(self.send(), "([sendmail reported error: , #0])")

    def test_what_goes_to_the_error_stream_does_not_count(self):
        self.stand_in("cat > message; echo complaint >&2")
        self.assertEqual(self.send(), "()")

    def test_the_error_stream_never_makes_the_program_wait(self):
        self.stand_in("cat > message; head -c 1000000 /dev/zero >&2; printf done; exit 3")
        self.assertEqual(self.send(), "([sendmail reported error: done, #3])")

    def test_only_what_a_single_read_gives_is_shown(self):
        self.wait_for_the_end_of(1, 'os.write(1, b"b")')
        self.assertEqual(self.send(), "([sendmail reported error: a, #5])")

    def test_the_error_stream_is_closed_before_the_program_ends(self):
        self.wait_for_the_end_of(2, 'os.write(2, b"b")')
        self.assertEqual(self.send(), "([sendmail reported error: a, #5])")

    def wait_for_the_end_of(self, descriptor, then):
        """A mail program that says "a", waits until nobody reads the descriptor any more, and ends with status 5
        when it can no longer do what comes then."""
        self.stand_in(f"""cat > message; exec '{sys.executable}' -c '
import os, select, sys
os.write(1, b"a")
closed = select.poll()
closed.register({descriptor}, 0)
closed.poll()
try:
    {then}
except BrokenPipeError:
    sys.exit(5)
'""")

    def test_a_signal_is_status_minus_2(self):
        self.stand_in("cat > message; kill -9 $$")
        self.assertEqual(self.send(), "([sendmail reported error: UNKNOWN, #-2])")

    def test_a_failed_wait_is_status_minus_1(self):
        self.stand_in("cat > message")
        before = signal.signal(signal.SIGCHLD, signal.SIG_IGN)  # the page's process is not told of its child then
        try:
            process = self.start("^optimize[no](^sendmail[x])")
        finally:
            signal.signal(signal.SIGCHLD, before)
        with process:
            output = process.communicate()[0]
        self.assertEqual(output.partition(b"\n\n")[2], b"([sendmail reported error: UNKNOWN, #-1])")

    def test_a_program_that_ends_at_once_does_not_end_the_page(self):
        self.stand_in("exit 3")
        self.assertEqual(self.send("x" * 1_000_000), "([sendmail reported error: UNKNOWN, #3])")

    def test_a_program_that_reads_nothing_does_not_end_the_page(self):
        self.stand_in("exec <&-; echo no input; exit 4")
        self.assertEqual(self.send("x" * 1_000_000), "([sendmail reported error: no input\n, #4])")

    def test_a_visitor_who_goes_away_ends_the_page_after_a_message_as_before_it(self):
        self.stand_in("cat > message")
        self.write("www/large", "x" * 4_000_000)
        process = self.start("^sendmail[x]^download[large]ok")
        process.stdout.readline()
        process.stdout.close()
        process.stderr.close()
        self.assertEqual(process.wait(TIMEOUT), -signal.SIGPIPE)

    def test_without_a_program_the_status_is_127(self):
        self.assertEqual(self.send(), "([sendmail reported error: UNKNOWN, #127])")

    def test_usr_lib_comes_before_usr_sbin(self):
        self.stand_in("cat > message; exit 1")
        self.stand_in("cat > message; exit 2", SYSTEM)
        self.assertEqual(self.send(), "([sendmail reported error: UNKNOWN, #1])")

    def test_usr_sbin_is_next(self):
        self.stand_in("cat > message; exit 2", SYSTEM)
        self.assertEqual(self.send(), "([sendmail reported error: UNKNOWN, #2])")

    def test_a_program_that_cannot_be_run_counts_as_missing(self):
        self.stand_in("exit 1", mode=0o644)
        self.stand_in("cat > message; exit 2", SYSTEM)
        self.assertEqual(self.send(), "([sendmail reported error: UNKNOWN, #2])")

    def test_without_a_message_nothing_is_run(self):
        self.stand_in("touch called")
        self.assertEqual(self.send("^rem[nothing]"), "()")
        self.assertFalse((self.root / "called").exists())

    def test_too_few_descriptors_are_a_pipe_error(self):
        self.stand_in("cat > message")
        self.assertEqual(self.send(limits=[(resource.RLIMIT_NOFILE, 6)]), "([sendmail pipe error])")
        self.assertRegex(self.error_log(), r"^\[.*\] .*/page.html: sendmail: /usr/lib/sendmail pipe error\n$")

    def test_after_a_pipe_error_no_pipe_is_left_open(self):
        self.write("www/part", "included")
        page = "^sendmail[x]^include[part]"  # there are four free descriptors, and three pipes need six
        self.assertEqual(self.run_page(page, limits=[(resource.RLIMIT_NOFILE, 7)]), "[sendmail pipe error]included")
        self.assertRegex(self.error_log(), r"^\[.*\] .*/page.html: sendmail: /usr/sbin/sendmail pipe error\n$")

    @unittest.skipUnless(private_mounts.is_root(), "needs another user than root, whom limits of processes stop")
    def test_without_another_process_there_is_a_pipe_error(self):
        self.stand_in("touch called")
        body = self.send(limits=[(resource.RLIMIT_NPROC, 0)], unprivileged=True)
        self.assertEqual(body, "([sendmail pipe error])")
        self.assertRegex(self.error_log(), r"^\[.*\] .*/page.html: sendmail: /usr/lib/sendmail pipe error\n$")
        self.assertFalse((self.root / "called").exists())

    def test_a_value_begins_no_header_line(self):
        self.stand_in("cat > message")
        self.send("To: ^form[to]\n\nbody", {"QUERY_STRING": "to=a%0aBcc:%09b%3Cc%3E"})
        self.assertEqual(self.read("message"), b"To: a Bcc: b<c>\n\nbody")

    def test_the_quoting_mode_is_as_before_afterwards(self):
        self.stand_in("exit 75")
        page = "^sendmail[x]^form[x]^level[none;^sendmail[x]^form[x]]"
        error = "[sendmail reported error: UNKNOWN, #75]"
        self.assertEqual(self.run_page(page, {"QUERY_STRING": "x=%3C"}), f"{error}&lt;{error}<")

    def test_the_quoting_mode_is_as_before_when_the_walk_ends_within_the_message(self):
        self.stand_in("touch called")
        page = "^config[a\nb]^menu[^item[0]^sendmail[x^config[c]]; ]^form[x]"
        body = self.run_page(page, {"QUERY_STRING": "x=%3C"})
        self.assertEqual(body, "[table lock violation in menu macro]&lt;")
        self.assertFalse((self.root / "called").exists())

    def test_the_message_is_recoded_to_koi8_r_whatever_the_page_is(self):
        self.stand_in("cat > message")
        self.write("site/_macro.cfg", b"@text[]\n\xe0\n")
        self.send("^macro[text]", {"SOURCE_CHARSET": "windows-1251", "CHARSET": "866"})
        self.assertEqual(self.read("message"), b"\xc1")

    def test_without_a_source_charset_nothing_is_recoded(self):
        self.stand_in("cat > message")
        self.write("site/_macro.cfg", b"@text[]\n\xe0\n")
        self.send("^macro[text]", {"CHARSET": "866"})
        self.assertEqual(self.read("message"), b"\xe0")


@unittest.skipUnless(HAS_DMA, "needs root and the package dma")
class RealProgram(MailTest):
    def setUp(self):
        super().setUp()
        SYSTEM.symlink_to(DMA.name)
        for folder in ("/var/mail", "/var/spool/dma"):
            mount("-t", "tmpfs", "tmpfs", folder)
            self.addCleanup(unmount, folder)
            shutil.chown(folder, "root", "mail")
            os.chmod(folder, 0o2775)

    def delivered(self):
        """The message in the mailbox. dma delivers on its own, after it has taken the message."""
        mailbox = Path("/var/mail/nobody")
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            if mailbox.exists() and mailbox.stat().st_size > 0 and not list(Path("/var/spool/dma").glob("[MQ]*")):
                return email.message_from_bytes(mailbox.read_bytes())
            time.sleep(0.02)
        self.fail("no mail arrived")

    def test_a_message_lies_in_the_mailbox(self):
        self.assertEqual(self.send("To: nobody@localhost\nSubject: ^form[s]\n\nDear ^form[n],\nhello.\n",
                                   {"QUERY_STRING": "s=a+%3Cquestion%3E%0aBcc:+root&n=Ann"}), "()")
        message = self.delivered()
        self.assertEqual(message["Subject"], "a <question> Bcc: root")
        self.assertEqual(message.get_payload().rstrip("\n"), "Dear Ann,\nhello.")

    def test_an_attachment_is_unchanged_in_the_mailbox(self):
        text = "".join(f"line {i}\n" for i in range(1000))
        self.write("www/_text", text)
        self.assertEqual(self.send("To: nobody@localhost\nMIME-Version: 1.0\n"
                                   "Content-Type: multipart/mixed^; boundary=limit\n\n--limit\n\nhello\n--limit\n"
                                   "^uuencode[^include[asis;_text];lines.txt]\n--limit--\n"), "()")
        hello, attachment = self.delivered().get_payload()
        self.assertEqual((hello.get_payload().strip(), attachment.get_filename()), ("hello", "lines.txt"))
        if shutil.which("uudecode") is None:
            self.skipTest("needs the package sharutils")
        decoded = subprocess.run(["uudecode", "-o", "/dev/stdout"], input=attachment.get_payload().encode(),
                                 capture_output=True, check=True).stdout
        self.assertEqual(decoded.decode(), text)

    def test_a_message_without_a_recipient_is_reported(self):
        self.assertRegex(self.send("Subject: x\n\nbody\n"), r"^\(\[sendmail reported error: .*, #[1-9]\d*\]\)$")


if __name__ == "__main__":
    private_mounts.enter()
    unittest.main()
