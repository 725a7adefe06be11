#!/usr/bin/env python3
"""What quillet-fcgi does besides answering: sockets, limits, signals, processes that die, its status."""

import contextlib
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import unittest
from pathlib import Path

from fastcgi import BEGIN, RESPONDER, SANITIZED, SERVER, Answer, Server, pair, record, request_bytes, stream
from program import TIMEOUT, cgi_environment, wait_for

# In a program that a page runs, by a shell or without one: the process that answers the request.
FIND_PROCESS = """process=$PPID
[ "$(cat /proc/$process/comm)" = quillet-fcgi ] || { set -- $(cat /proc/$process/stat); process=$4; }
"""


MANY_REQUESTS = ("--requests-per-process", "1000")


class Site(unittest.TestCase):
    mode = ()  # a process for each request

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="quillet-fcgi-site-")
        self.addCleanup(folder.cleanup)
        self.root = Path(os.path.realpath(folder.name))
        for name in ("www", "run"):
            (self.root / name).mkdir()
        self.page("page.html", "hello ^form[name]")
        self.program("process", FIND_PROCESS + "echo $process")

    def page(self, name, content):
        (self.root / "www" / name).write_text(content)

    def program(self, name, script):
        """A page NAME.html with what the program writes."""
        path = self.root / "www" / name
        path.write_text("#!/bin/sh\nprintf 'Content-type: text/plain\\n\\n'\n" + script)
        path.chmod(0o755)
        self.page(name + ".html", f"^optimize[no]^exec[{name}]")

    def write(self, name, content):
        (self.root / name).write_text(content)

    def serve(self, *options, **settings):
        mode = () if "--requests-per-process" in options else self.mode
        server = Server(self.root / "run", *options, *mode, **settings)
        self.addCleanup(server.stop)
        return server

    def request(self, name="page.html", **variables):
        environment = cgi_environment(str(self.root), "www/" + name)
        del environment["ASAN_OPTIONS"]
        return environment | variables

    def body_of(self, answer):
        self.assertEqual(answer.status, 0, answer.errors)
        return answer.output.partition(b"\n\n")[2].decode()

    def start(self, server, *arguments):
        """Asks in a thread; gives a function that waits for the answer."""
        answers = []
        thread = threading.Thread(target=lambda: answers.append(server.ask(*arguments)))
        thread.start()

        def wait():
            thread.join(TIMEOUT)
            return answers[0]
        return wait

    def waiting_page(self, name="wait"):
        """A page that says that it runs, and goes on when somebody writes into a pipe."""
        pipe, sign = self.root / (name + ".pipe"), self.root / (name + ".runs")
        os.mkfifo(pipe)
        self.program(name, f": > {sign}; cat {pipe}")
        self.addCleanup(self.let_go, pipe)
        return pipe, sign

    def let_go(self, pipe):
        with contextlib.suppress(OSError):  # nobody reads
            os.close(os.open(pipe, os.O_WRONLY | os.O_NONBLOCK))


class Sockets(Site):
    def test_a_path(self):
        self.assertEqual(self.body_of(self.serve().ask(self.request(QUERY_STRING="name=Ann"))), "hello Ann")

    def test_the_path_has_the_permissions_that_are_asked_for(self):
        server = self.serve("--socket-mode", "600")
        self.assertEqual(os.stat(server.path).st_mode & 0o777, 0o600)

    def test_the_path_is_gone_when_the_server_has_stopped(self):
        server = Server(self.root / "run")
        path = server.path
        server.stop()
        self.assertFalse(os.path.exists(path))

    def test_a_port_of_this_machine(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        server = self.serve("--socket", str(port), socket_option=False)
        server.connect = lambda: socket.create_connection(("127.0.0.1", port), TIMEOUT)
        self.assertEqual(self.body_of(server.ask(self.request())), "hello ")

    def serve_handed_over(self, **settings):
        """A server whose standard input is a socket that listens."""
        path = str(self.root / "socket")
        listener = socket.socket(socket.AF_UNIX)
        self.addCleanup(listener.close)
        listener.bind(path)
        listener.listen()
        server = self.serve(socket_option=False, stdin=listener, **settings)
        server.path = path
        return server

    def test_a_socket_as_descriptor_0(self):
        self.assertEqual(self.body_of(self.serve_handed_over().ask(self.request())), "hello ")

    def test_a_socket_of_systemd(self):
        start = 'exec 3<&0 </dev/null; LISTEN_PID=$$ LISTEN_FDS=1 exec "$@"'
        server = self.serve_handed_over(limits=["/bin/sh", "-c", start, "sh"])
        self.assertEqual(self.body_of(server.ask(self.request())), "hello ")

    def test_no_socket_is_an_error(self):
        done = subprocess.run([SERVER], stdin=subprocess.DEVNULL, capture_output=True, timeout=TIMEOUT, check=False)
        self.assertEqual((done.returncode, done.stderr),
                         (2, b"quillet-fcgi: no socket was handed over; --socket names one\n"))


class Requests(Site):
    def test_the_request_says_what_the_environment_is(self):
        self.page("page.html", "^env[ONE]|^env[TWO]|^env[THREE]")
        server = self.serve(environment={"ONE": "own", "TWO": "own"})
        self.assertEqual(self.body_of(server.ask(self.request(TWO="request", THREE="request"))), "own|request|request")

    def test_the_exit_status_comes_back(self):
        self.page("page.html", "^rem[nothing]")
        self.assertEqual(self.serve().ask(self.request()).status, 253)

    def test_a_location_alone_is_a_redirect(self):
        self.page("page.html", "^header[Location;/x]body")
        self.page("status.html", "^header[Location;/x]^header[Status;303 See Other]body")
        server = self.serve()
        self.assertTrue(server.ask(self.request()).output.startswith(b"Status: 302 Found\r\nLocation: /x\n"))
        self.assertTrue(server.ask(self.request("status.html")).output.startswith(b"Location: /x\nStatus: 303 "))

    def test_a_body_that_cannot_be_decoded_is_an_error_of_the_server(self):
        server = self.serve()
        answer = server.ask(self.request(REQUEST_METHOD="POST", CONTENT_TYPE="multipart/form-data",
                                         CONTENT_LENGTH="3"), b"a=1")
        self.assertTrue(answer.output.startswith(b"Status: 500 Internal Server Error\r\n"), answer.output)
        self.assertEqual(answer.status, 255)

    def test_a_body_without_a_length_is_a_form_too(self):
        request = self.request(REQUEST_METHOD="POST", CONTENT_TYPE="application/x-www-form-urlencoded",
                               HTTP_TRANSFER_ENCODING="chunked")
        self.assertEqual(self.body_of(self.serve().ask(request, b"name=Ann")), "hello Ann")

    def test_standard_error_goes_to_the_web_server_and_to_the_log(self):
        os.chmod(self.root / "run", 0o555)
        (self.root / "run" / "error_log").mkdir(mode=0o755)
        self.page("page.html", "^rem[nothing]")
        server = self.serve()
        answer = server.ask(self.request())
        self.assertIn(b"unable to print", answer.errors)
        self.assertIn("unable to print", server.log())

    def test_a_program_reads_the_body_that_is_no_form(self):
        self.program("read", "cat")
        server = self.serve()
        request = self.request("read.html", REQUEST_METHOD="POST", CONTENT_TYPE="text/plain", CONTENT_LENGTH="9")
        self.assertEqual(self.body_of(server.ask(request, b"some body")), "some body")

    def test_a_large_body_and_a_large_page(self):
        self.program("read", "cat")
        body = bytes(range(97, 123)) * 100_000
        request = self.request("read.html", REQUEST_METHOD="PUT", CONTENT_LENGTH=str(len(body)))
        self.assertEqual(self.body_of(self.serve().ask(request, body)).encode(), body)

    def test_a_page_that_comes_as_the_script_is_the_page(self):
        self.page("page.html", "^env[SCRIPT_NAME] ^env[PATH_TRANSLATED] ^env[PATH_INFO]")
        page = str(self.root / "www/page.html")
        answer = self.serve().ask(self.request(PATH_TRANSLATED="", SCRIPT_FILENAME=page, SCRIPT_NAME="/page.html"))
        self.assertEqual(self.body_of(answer), f"/cgi-bin/quillet {page} /page.html")

    def test_a_redirect_inside_the_server_to_the_program_is_refused(self):
        answer = self.serve().ask(self.request(REDIRECT_URL="/cgi-bin/quillet/page.html"))
        self.assertTrue(answer.output.startswith(b"Status: 403 Forbidden\r\n"), answer.output)


class Modes(Site):
    """A process for each request, or for many."""

    def test_each_request_has_a_process_of_its_own(self):
        server = self.serve()
        self.assertEqual(len({self.body_of(server.ask(self.request("process.html"))) for _ in range(5)}), 5)

    def test_a_process_answers_as_many_requests_as_it_may(self):
        server = self.serve("--requests-per-process", "3", "--spare", "1", "--processes", "1")
        processes = [self.body_of(server.ask(self.request("process.html"))) for _ in range(6)]
        self.assertEqual([len(set(processes[:3])), len(set(processes[3:])), len(set(processes))], [1, 1, 2])

    def test_nothing_of_a_request_is_there_for_the_next_one(self):
        self.page("first.html", "^var[kept;value]^macro_use[/m]^macro[kept]^context[kept]^load[a]^sql[x]^exec[process]")
        self.write("run/.profile", "KEPT=^value\n")
        self.page("second.html", "^optimize[no]^env[TZ]|^env[SET]|^var[kept]|^macro[kept]|^form[kept]|^exec[read]")
        self.program("read", "cat")
        server = self.serve("--requests-per-process", "100", "--spare", "1", "--processes", "1")
        clean = self.body_of(server.ask(self.request("second.html")))
        self.write("run/.profile", "SET=1\nTZ=Asia/Tokyo\n")
        server.ask(self.request("first.html", QUERY_STRING="kept=1", REQUEST_METHOD="PUT", CONTENT_LENGTH="4"), b"body")
        self.write("run/.profile", "")
        self.assertEqual(self.body_of(server.ask(self.request("second.html"))), clean)

    def test_the_time_zone_of_a_profile_ends_with_its_request(self):
        self.page("page.html", "^date[%H;0]")
        server = self.serve("--requests-per-process", "100", "--spare", "1", "--processes", "1")
        self.write("run/.profile", "TZ=JST-9\n")
        self.assertEqual(self.body_of(server.ask(self.request())), "09")
        self.write("run/.profile", "")
        self.assertEqual(self.body_of(server.ask(self.request())), "00")

    def test_the_processor_time_is_that_of_one_request(self):
        passes, requests = (1000000, 18) if SANITIZED else (3000000, 30)
        self.page("long.html", f"^for[i;1;{passes};^if[^var[i] < 0;x]]")
        server = self.serve("--processor-time", "2", "--requests-per-process", "100", "--spare", "1",
                            "--processes", "1")
        for _ in range(requests):
            self.assertEqual(server.ask(self.request("long.html")).status, 253)

    def test_a_server_that_cannot_start_afresh_goes_on(self):
        program = self.root / "server"
        shutil.copy(SERVER, program)
        server = self.serve("--processes", "1", "--spare", "1", "--requests-per-process", "1000", program=program)
        program.unlink()
        server.process.send_signal(signal.SIGHUP)
        wait_for(lambda: "cannot start afresh" in server.log(), "the failure")
        for child in server.children():  # those that come after it
            os.kill(child, signal.SIGKILL)
        self.write("run/.profile", "NAME_OF_SITE=a\n")
        for _ in range(5):
            self.assertEqual(self.body_of(server.ask(self.request(QUERY_STRING="name=Ann"))), "hello Ann")


class Broken(Site):
    """Bytes that no web server sends."""

    def send(self, server, data):
        with server.connect() as connection:
            connection.sendall(data)
            connection.shutdown(socket.SHUT_WR)
            return Answer().read(connection)

    def test_what_is_no_request_harms_nobody(self):
        server = self.serve()
        whole = request_bytes(self.request())
        for data in (b"", b"GET / HTTP/1.0\r\n\r\n", b"\0" * 100, b"\xff" * 100_000, record(BEGIN, RESPONDER),
                     record(BEGIN, RESPONDER) + record(4, b"\x80\xff\xff"), record(BEGIN, b""),
                     record(BEGIN, RESPONDER) + stream(4, pair(b"A", b"x" * 1_000_000)[:500_000]), record(99, b"x")):
            self.send(server, data)
        for at in range(0, len(whole), 7):
            self.send(server, whole[:at])
        self.assertEqual(self.body_of(server.ask(self.request())), "hello ")

    def test_a_variable_that_announces_more_than_there_is(self):
        server = self.serve()
        for length in (b"\xff\xff\xff\xff", b"\x80\x00\x00\x00", b"\xff\xff\xff\xff\xff\xff\xff\xff"):
            self.send(server, record(BEGIN, RESPONDER) + stream(4, length + b"NAME"))
        self.assertEqual(self.body_of(server.ask(self.request())), "hello ")

    def test_a_web_server_that_goes_away_in_the_middle(self):
        self.page("large.html", "^for[i;1;200000;0123456789]")
        server = self.serve()
        for _ in range(5):
            with server.connect() as connection:
                connection.sendall(request_bytes(self.request("large.html")))
        self.assertEqual(self.body_of(server.ask(self.request())), "hello ")


class Limits(Site):
    def is_refused_and_logged(self, server, answer, status):
        self.assertTrue(answer.output.startswith(b"Status: %b\r\n" % status.encode()), answer.output)
        wait_for(lambda: f": /page.html: {status}\n" in server.log(), "the log to say it")

    def test_a_body_above_the_limit_is_refused(self):
        server = self.serve("--body", "1")
        answer = server.ask(self.request(REQUEST_METHOD="POST", CONTENT_LENGTH=str(1 << 20 | 1)), b"")
        self.is_refused_and_logged(server, answer, "413 Request Entity Too Large")

    def test_a_body_of_unknown_length_above_the_limit_is_refused(self):
        server = self.serve("--body", "1")
        answer = server.ask(self.request(REQUEST_METHOD="PUT"), b"x" * (1 << 20 | 1))
        self.is_refused_and_logged(server, answer, "413 Request Entity Too Large")

    def test_a_body_at_the_limit_is_read(self):
        self.program("count", "wc -c")
        answer = self.serve("--body", "1").ask(self.request("count.html", REQUEST_METHOD="PUT", CONTENT_LENGTH=str(1 << 20)),
                                               b"x" * (1 << 20))
        self.assertEqual(self.body_of(answer).strip(), str(1 << 20))

    def ends(self, server, page, reason):
        answer = server.ask(self.request(page))
        self.assertEqual((answer.output, answer.status), (b"", None))
        wait_for(lambda: reason in server.log(), f"the log to say: {reason}")
        self.assertIn(f": /{page}: {reason}\n", server.log())
        self.assertEqual(server.figures()["died"], 1)
        self.assertEqual(self.body_of(server.ask(self.request())), "hello ")

    def test_a_request_that_takes_too_long_ends(self):
        self.waiting_page("slow")
        self.ends(self.serve("--time", "1"), "slow.html", "it took too long")

    def test_a_request_that_computes_too_long_ends(self):
        self.page("endless.html", "^for[i;1;2000000000;]")
        self.ends(self.serve("--processor-time", "1"), "endless.html", "it used too much processor time")

    @unittest.skipIf(SANITIZED, "the sanitizers reserve more than a request may use")
    def test_a_request_that_needs_too_much_memory_ends(self):
        self.page("greedy.html", "^var[a;x]^for[i;1;40;^var[a;^var[a]^var[a]]]")
        server = self.serve("--memory", "64")
        answer = server.ask(self.request("greedy.html"))
        self.assertTrue(answer.output.startswith(b"Status: 500 Internal Server Error\r\n"), answer.output)
        wait_for(lambda: ": /greedy.html: 500 Internal Server Error\n" in server.log(), "the log to say it")
        self.assertEqual(answer.status, 254)
        self.assertEqual(self.body_of(server.ask(self.request())), "hello ")

    def test_requests_beyond_those_that_may_wait_are_refused(self):
        pipe, sign = self.waiting_page()
        server = self.serve("--processes", "1", "--spare", "1", "--waiting", "2")
        running = self.start(server, self.request("wait.html"))
        wait_for(sign.exists, "the page to run")
        waiting = [self.start(server, self.request()) for _ in range(2)]
        wait_for(lambda: server.figures()["waiting"] == 2, "two requests to wait")
        answer = server.ask(self.request())
        self.is_refused_and_logged(server, answer, "503 Service Unavailable")
        self.assertEqual(answer.status, 0)
        self.assertEqual(server.figures()["refused"], 1)
        pipe.write_text("done")
        self.assertEqual(self.body_of(running()), "done")
        self.assertEqual([self.body_of(answer()) for answer in waiting], ["hello ", "hello "])
        children = server.children()
        server.stop()
        wait_for(lambda: not any(Path(f"/proc/{child}/root").exists() for child in children), "all processes to end")

    def test_there_are_as_many_processes_as_are_needed_and_no_more(self):
        pages = [self.waiting_page(f"wait{k}") for k in range(4)]
        server = self.serve("--processes", "4", "--spare", "1")
        answers = [self.start(server, self.request(f"wait{k}.html")) for k in range(4)]
        for _, sign in pages:
            wait_for(sign.exists, "the page to run")
        figures = server.figures()
        self.assertEqual((figures["running"], figures["idle"]), (4, 0))
        for pipe, _ in pages:
            pipe.write_text("done")
        self.assertEqual([self.body_of(answer()) for answer in answers], ["done"] * 4)


class Signals(Site):
    def test_a_process_that_dies_is_replaced_and_nothing_else_ends(self):
        pipe, sign = self.waiting_page()
        self.program("die", FIND_PROCESS + "kill -KILL $process")
        server = self.serve("--processes", "2", "--spare", "1")
        other = self.start(server, self.request("wait.html"))
        wait_for(sign.exists, "the page to run")
        answer = server.ask(self.request("die.html"))
        self.assertEqual(answer.status, None)
        wait_for(lambda: "/die.html: Killed\n" in server.log(), "a line in the log")
        self.assertEqual(self.body_of(server.ask(self.request())), "hello ")
        pipe.write_text("done")
        self.assertEqual(self.body_of(other()), "done")

    def test_the_server_stops_after_the_running_requests(self):
        pipe, sign = self.waiting_page()
        server = self.serve()
        running = self.start(server, self.request("wait.html"))
        wait_for(sign.exists, "the page to run")
        server.process.send_signal(signal.SIGTERM)
        wait_for(lambda: len(server.children()) == 1, "the other processes to end")
        pipe.write_text("done")
        self.assertEqual(self.body_of(running()), "done")
        self.assertEqual(server.process.wait(TIMEOUT), 0)

    def test_a_server_that_stops_waits_no_longer_than_it_may(self):
        _, sign = self.waiting_page()
        server = self.serve("--stop-time", "0")
        running = self.start(server, self.request("wait.html"))
        wait_for(sign.exists, "the page to run")
        self.assertEqual(server.stop(), 0)
        self.assertEqual(running().status, None)

    def test_a_server_that_starts_afresh_loses_no_request(self):
        pipe, sign = self.waiting_page()
        server = self.serve("--processes", "4", "--spare", "2")
        running = self.start(server, self.request("wait.html"))
        wait_for(sign.exists, "the page to run")
        answers = []
        stop = threading.Event()

        def ask_on():
            while not stop.is_set():
                answers.append(server.ask(self.request(QUERY_STRING="name=Ann")))
        askers = [threading.Thread(target=ask_on) for _ in range(3)]
        for asker in askers:
            asker.start()
        before = server.process.pid
        for _ in range(5):
            seen = len(answers)
            server.process.send_signal(signal.SIGHUP)
            wait_for(lambda: len(answers) > seen + 20, "requests to go on")
        stop.set()
        for asker in askers:
            asker.join(TIMEOUT)
        pipe.write_text("done")
        self.assertEqual(self.body_of(running()), "done")
        self.assertEqual({self.body_of(answer) for answer in answers}, {"hello Ann"})
        self.assertEqual((server.process.pid, server.process.poll()), (before, None))

    def test_a_server_that_starts_afresh_answers_those_who_waited(self):
        pipe, sign = self.waiting_page()
        server = self.serve("--processes", "1", "--spare", "1")
        running = self.start(server, self.request("wait.html"))
        wait_for(sign.exists, "the page to run")
        waiting = [self.start(server, self.request()) for _ in range(3)]
        wait_for(lambda: server.figures()["waiting"] == 3, "three requests to wait")
        server.process.send_signal(signal.SIGHUP)
        self.assertEqual([self.body_of(answer()) for answer in waiting], ["hello "] * 3)
        pipe.write_text("done")
        self.assertEqual(self.body_of(running()), "done")

    def test_processes_end_when_their_server_is_killed(self):
        server = self.serve()
        children = wait_for(server.children, "processes")
        server.process.kill()
        wait_for(lambda: not any(Path(f"/proc/{child}/root").exists() for child in children), "the processes to end")

    def test_a_request_that_a_killed_server_left_running_holds_nobody_up(self):
        pipe, sign = self.waiting_page()
        server = self.serve("--processes", "1", "--spare", "1")
        running = self.start(server, self.request("wait.html"))
        wait_for(sign.exists, "the page to run")
        waiting = self.start(server, self.request())
        wait_for(lambda: server.figures()["waiting"] == 1, "a request to wait")
        server.process.kill()
        self.assertEqual(waiting().status, None)
        wait_for(lambda: self.is_refused(server), "new requests to be refused")
        pipe.write_text("done")
        self.assertEqual(self.body_of(running()), "done")

    def is_refused(self, server):
        try:
            server.connect().close()
        except ConnectionRefusedError:
            return True
        return False


class Status(Site):
    def test_the_figures_in_plain_text(self):
        self.page("empty.html", "^rem[nothing]")
        server = self.serve("--processes", "7", "--spare", "2")
        server.ask(self.request())
        server.ask(self.request("empty.html"))
        wait_for(lambda: server.figures()["idle"] == 2, "the processes to wait")
        figures = server.figures()
        names = "processes running idle waiting served failed refused died".split()
        self.assertEqual([figures[name] for name in names], [7, 0, 2, 0, 2, 1, 0, 0])

    def test_the_page_that_runs_is_named(self):
        pipe, sign = self.waiting_page()
        server = self.serve()
        running = self.start(server, self.request("wait.html", REQUEST_URI="/wait.html?a\x01b"))
        wait_for(sign.exists, "the page to run")
        self.assertRegex(server.status(), r"process \d+: busy for [\d.]+ s, served 0: /wait.html\?a b\n")
        pipe.write_text("done")
        running()

    def test_the_figures_in_prometheus_form(self):
        server = self.serve()
        server.ask(self.request())
        reply = server.status("/metrics")
        self.assertIn("Content-Type: text/plain; version=0.0.4; charset=utf-8\r\n", reply)
        body = reply.partition("\r\n\r\n")[2]
        self.assertIn("# HELP quillet_served_total Requests that were answered.\n"
                      "# TYPE quillet_served_total counter\nquillet_served_total 1\n", body)
        for line in body.splitlines():
            self.assertRegex(line, r"^(# (HELP|TYPE) quillet_[a-z_]+ .+|quillet_[a-z_]+ [0-9.]+)$")
        self.assertEqual(len(re.findall(r"^quillet_", body, re.M)), 10)

    def test_a_slow_reader_of_the_status_holds_nobody_up(self):
        server = self.serve()
        with socket.socket(socket.AF_UNIX) as silent:
            silent.connect(server.status_path)
            self.assertEqual(self.body_of(server.ask(self.request())), "hello ")
            self.assertIn("served: 1\n", server.status())


class RequestsOfOneProcess(Requests):
    mode = MANY_REQUESTS


class BrokenOfOneProcess(Broken):
    mode = MANY_REQUESTS


class LimitsOfOneProcess(Limits):
    mode = MANY_REQUESTS


class SignalsOfOneProcess(Signals):
    mode = MANY_REQUESTS


class StatusOfOneProcess(Status):
    mode = MANY_REQUESTS


if __name__ == "__main__":
    unittest.main()
