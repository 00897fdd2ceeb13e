# SPDX-License-Identifier: MIT
"""Measures a Node-RED dashboard that shows the 500 values of panel_figures.py, read from the same simulated PLC.

    npm install --prefix NPM node-red @flowfuse/node-red-dashboard      once; NPM is any folder beside the tree
    /usr/bin/python3 bench/node_red_figures.py FOLDER NPM RESULT.json [--quick]

FOLDER holds kv-sim. By hand only: nothing of it is part of bench/run.sh. A function of the flow asks the PLC for all
words every 100 ms, and hands on those that changed, each to a text of its own. A dashboard that falls so far behind
that a change is not on its page within 20 s has null for change_ms.
"""

import json
import os
import socket
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request
from pathlib import Path

from browser import Browser, TooLate, figures_of
from panel_figures import COLUMNS, PERIOD_MS, PROBE, VALUES, program_text
from programs import PATIENCE, MeasureError, Plcs

ASK = """
const socket = global.get('net').connect(%d, '127.0.0.1');
let text = '', last = [];
socket.write('CR\\r');
setInterval(() => socket.write('RDS DM0.U %d\\r'), %d);
socket.on('data', data => {
    text += data;
    for (let at; (at = text.indexOf('\\n')) >= 0; text = text.slice(at + 1)) {
        const words = text.slice(0, at).trim().split(' ');
        if (words.length < 2)
            continue;
        node.send(words.map((word, i) => word === last[i] ? null : {payload: Number(word)}));
        last = words;
    }
});
"""


def flow(plc_port):
    """Ids differ from all other words: Node-RED takes a word that is an id for a reference."""
    texts = [{"id": f"v{i}", "type": "ui-text", "z": "flow", "group": "n-group", "order": i + 1, "width": "1", "height": "1",
              "name": "", "label": "", "format": "{{msg.payload}}", "layout": "row-left", "style": False,
              "wrapText": False, "className": "", "x": 0, "y": 0, "wires": []} for i in range(VALUES)]
    return [
        {"id": "flow", "type": "tab", "label": "values"},
        {"id": "n-base", "type": "ui-base", "name": "base", "path": "/dashboard", "showPathInSidebar": False},
        {"id": "n-theme", "type": "ui-theme", "name": "theme",
         "colors": {"surface": "#ffffff", "primary": "#0094CE", "bgPage": "#eeeeee", "groupBg": "#ffffff", "groupOutline": "#cccccc"},
         "sizes": {"density": "compact", "pagePadding": "4px", "groupGap": "0px", "groupBorderRadius": "0px", "widgetGap": "0px"}},
        {"id": "n-page", "type": "ui-page", "name": "values", "ui": "n-base", "path": "/values", "icon": "home", "layout": "grid",
         "theme": "n-theme", "order": 1, "className": "", "visible": "true", "disabled": "false",
         "breakpoints": [{"name": "Desktop", "px": "1024", "cols": str(COLUMNS)}]},
        {"id": "n-group", "type": "ui-group", "name": "values", "page": "n-page", "width": str(COLUMNS), "height": "1", "order": 1,
         "showTitle": False, "className": "", "visible": "true", "disabled": "false", "groupType": "default"},
        {"id": "ask", "type": "function", "z": "flow", "name": "ask", "func": "return null;", "outputs": VALUES, "timeout": 0,
         "noerr": 0, "initialize": ASK % (plc_port, VALUES, PERIOD_MS), "finalize": "", "libs": [], "x": 0, "y": 0,
         "wires": [[f"v{i}"] for i in range(VALUES)]},
        *texts]


def free_port():
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        return free.getsockname()[1]


def answers(url):
    try:
        with urllib.request.urlopen(url, timeout=PATIENCE):
            return True
    except (urllib.error.URLError, OSError):
        return False


class NodeRed:
    def __init__(self, npm, folder, plc_port):
        self.port = free_port()
        (folder / "flows.json").write_text(json.dumps(flow(plc_port)))
        (folder / "settings.js").write_text(
            "module.exports = " + json.dumps({"uiPort": self.port, "uiHost": "127.0.0.1", "flowFile": "flows.json",
                                              "disableEditor": True, "telemetry": {"enabled": False, "updateNotification": False},
                                              "nodesDir": [], "credentialSecret": False})[:-1] +
            ", functionGlobalContext: {net: require('net')}};")
        # It finds its nodes in the folder of its user.
        (folder / "node_modules").symlink_to(npm / "node_modules")
        (folder / "package.json").write_text((npm / "package.json").read_text())
        self.log = open(folder / "log", "w", encoding="utf-8")
        self.process = subprocess.Popen(["node", npm / "node_modules" / "node-red" / "red.js", "--userDir", folder],
                                        stdout=self.log, stderr=self.log, cwd=folder)
        end = time.monotonic() + 6 * PATIENCE
        while not answers(f"http://127.0.0.1:{self.port}/dashboard/values"):
            if time.monotonic() > end or self.process.poll() is not None:
                self.end()
                raise MeasureError("Node-RED did not start: " + (folder / "log").read_text()[-2000:])
            time.sleep(0.5)

    def end(self):
        self.process.terminate()
        self.process.wait(PATIENCE)
        self.log.close()


def measure(binaries, npm, quick):
    load = os.getloadavg()[0]
    with tempfile.TemporaryDirectory() as scratch:
        scratch = Path(scratch)
        (scratch / "program").write_text(program_text())
        with Plcs(binaries, 1, "--scan", str(PERIOD_MS), "--program", scratch / "program", "--control", "127.0.0.1:0") as plcs:
            server = NodeRed(npm, scratch, int(plcs.urls[0].rsplit(":", 1)[1]))
            try:
                with Browser() as browser:
                    browser.driver.get(f"http://127.0.0.1:{server.port}/dashboard/values")
                    texts = "document.querySelectorAll('.nrdb-ui-text-value')"
                    browser.wait(f"return {texts}.length === arguments[0] && [...{texts}].every(one => one.textContent.trim() !== '')",
                                 "the dashboard does not show all values", VALUES)
                    browser.watch(browser.driver.execute_script(f"return {texts}[arguments[0]]", PROBE))
                    found = figures_of(browser, server.process.pid, plcs.control, f"DM{PROBE}", PERIOD_MS / 1000, quick)
            except TooLate as late:
                found = {**late.found, "change_ms": None}
            finally:
                server.end()
    return {**found, "load": load}


if __name__ == "__main__":
    try:
        Path(sys.argv[3]).write_text(
            json.dumps(measure(Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve(), "--quick" in sys.argv[4:]), indent=1) + "\n",
            encoding="utf-8")
    except MeasureError as error:
        sys.exit(f"node_red_figures.py: {error}")
