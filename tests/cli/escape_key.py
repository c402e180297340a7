"""Escape pressed on the terminal cancels a long command: it exits 130 with its "cancelled"
message, whatever the stage that was running when the key came.

    escape_key.py EXPECTED_MESSAGE_REGEX WKCACHE ARGS...

The command runs on a pseudo-terminal; a lone Escape byte goes in half a second after it starts.
"""
import os
import pty
import re
import select
import sys
import time

# Exit status ctest reads as "skipped".
SKIPPED = 77

expected, program = sys.argv[1], sys.argv[2:]
try:
    pid, fd = pty.fork()
except OSError as error:
    # A chroot or container without /dev/pts has no terminal to press Escape on.
    print(f"skipped: no pseudo-terminal here ({error})")
    sys.exit(SKIPPED)
if pid == 0:
    os.execv(program[0], program)

started = time.monotonic()
sent = False
output = b""
status = None
while status is None:
    if not sent and time.monotonic() - started > 0.5:
        os.write(fd, b"\x1b")
        sent = True
    ready, _, _ = select.select([fd], [], [], 0.1)
    if ready:
        try:
            output += os.read(fd, 65536)
        except OSError:
            pass
    done, code = os.waitpid(pid, os.WNOHANG)
    if done:
        status = os.waitstatus_to_exitcode(code)
    elif time.monotonic() - started > 50:
        os.kill(pid, 9)
        os.waitpid(pid, 0)
        sys.exit("the command did not stop within 50 seconds of Escape")

text = output.decode(errors="replace")
if status != 130 or not re.search(expected, text):
    sys.exit(f"exit code {status}, expected 130 and /{expected}/; output:\n{text[-2000:]}")
