#!/usr/bin/env python3
"""The commands of the network page run as they are written there: the server, then its clients.

    check_page.py PAGE
"""

import json
import os
import re
import subprocess
import sys
import tempfile

from server import PATIENCE, Server

PRINTED_PORT = "11111"
JPEG = b"\xff\xd8\xff"


def main():
    with open(sys.argv[1], encoding="utf-8") as page:
        blocks = re.findall(r"^```sh\n(.*?)^```", page.read(), re.M | re.S)
    commands = [line for block in blocks for line in block.splitlines() if line]
    servers = [command.split()[2:] for command in commands if command.startswith("orqcam serve ")]
    clients = [command for command in commands if command.startswith("curl ")]
    if len(servers) < 2 or len(clients) < 5:
        sys.exit(f"the page shows {commands}")
    with Server(*servers[0], cameras=()) as server, tempfile.TemporaryDirectory() as folder:
        answers = []
        for command in clients:
            words = command.replace("curl ", "curl --fail --silent --show-error ", 1).replace(":" + PRINTED_PORT, f":{server.port}")
            done = subprocess.run(["sh", "-c", words], text=True, capture_output=True, timeout=PATIENCE, check=False,
                                  cwd=folder)
            if done.returncode != 0:
                sys.exit(f"{command} ended with {done.returncode}: {done.stderr}")
            saved = re.search(r" -o (\S+)", command)
            if saved is None:
                answers.append(json.loads(done.stdout))
                continue
            with open(os.path.join(folder, saved[1]), "rb") as picture:
                if picture.read(3) != JPEG:
                    sys.exit(f"{command} saves no picture")
        if any(answer.get("ErrorNumber", 0) != 0 for answer in answers) or answers[0]["cameras"][0]["presence"] != "open":
            sys.exit(f"the page's commands are answered {answers}")
    for options in servers[1:]:
        Server(*options, cameras=("virtual:k1c",)).end()


main()
