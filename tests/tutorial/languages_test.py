"""The pages in other languages in the manual give what those of quillet give, apart from white space."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from steps import DOCS

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "servers"))
import asking  # noqa: E402
from web_servers import WebServer  # noqa: E402

TEXT = (DOCS / "from-other-languages.md").read_text()
MODULES = ("mpm_event", "authz_core", "dir", "mime", "include")


def blocks(heading):
    return re.findall(rf"^```{heading}\n(.*?)\n?^```$", TEXT, re.M | re.S)


def named(heading):
    return dict(re.findall(rf"^```{heading} (\S+)\n(.*?)^```$", TEXT, re.M | re.S))


def reduced(text):
    """White space as in pages of quillet."""
    return re.sub(r"(\s)\s+", r"\1", text).strip()


OUTPUTS = [reduced(text) for text in blocks("output")]
QUERIES = [text.partition("=")[2] for text in blocks("env")]
GOODS = named("file")["www/_goods"]


class Ssi(WebServer):
    name = "Apache with includes"

    def start(self):
        loads = "".join(f"LoadModule {name}_module /usr/lib/apache2/modules/mod_{name}.so\n" for name in MODULES)
        configuration = self.write_file(self.folder / "httpd.conf", f"""{loads}ServerRoot "{self.folder}"
DefaultRuntimeDir "{self.folder}"
PidFile "{self.folder}/httpd.pid"
ErrorLog "{self.folder}/httpd.log"
ServerName localhost
Listen 127.0.0.1:{self.port}
TypesConfig /dev/null
DocumentRoot "{self.site}/www"
AddType text/html .shtml
AddOutputFilter INCLUDES .shtml
<Directory "{self.site}/www">
  Options +Includes
</Directory>
""")
        self.serve("/usr/sbin/apache2", "-f", configuration, "-D", "FOREGROUND")


class Languages(asking.Asking, unittest.TestCase):
    def port(self):
        return self.server.port

    def test_server_side_includes(self):
        self.server = Ssi({f"www/{name}": text for name, text in named("html ssi").items()})
        self.addCleanup(self.server.stop)
        self.assertEqual(reduced(self.ask("/page.shtml?" + QUERIES[0]).text()), OUTPUTS[0])

    @unittest.skipUnless(shutil.which("php-cgi"), "php-cgi is not installed")
    def test_php(self):
        with tempfile.TemporaryDirectory(prefix="quillet-php-") as name:
            for file, text in (named("php") | {"goods.txt": GOODS}).items():
                (Path(name) / file).write_text(text)
            for page, query, output in zip(("page.php", "list.php"), QUERIES, OUTPUTS, strict=True):
                environment = {"PATH": os.environ["PATH"], "REDIRECT_STATUS": "200", "REQUEST_METHOD": "GET",
                               "SCRIPT_FILENAME": f"{name}/{page}", "QUERY_STRING": query, "REMOTE_ADDR": "127.0.0.1"}
                done = subprocess.run(["php-cgi"], env=environment, cwd=name, capture_output=True, text=True, check=True)
                self.assertEqual(reduced(done.stdout.replace("\r", "").partition("\n\n")[2]), output)


if __name__ == "__main__":
    unittest.main()
