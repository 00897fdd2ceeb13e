# SPDX-License-Identifier: MIT
"""What a program shows, as a screen reader hears it, and what a hand does there. On the session bus and display of its caller.

    on_screen.py            prints [[role, name or value, states], ...] of the one program, from the top down, as JSON
    on_screen.py ROLE       does what a click does on the first of these
    on_screen.py ROLE N     moves the first of these to N

Exit status 3: no program is there yet. Debian's own Python has the module gi.
"""

import json
import sys

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

STATES = (Atspi.StateType.ENABLED, Atspi.StateType.CHECKED, Atspi.StateType.INDETERMINATE)


def below(node):
    node.clear_cache()
    yield node
    for i in range(node.get_child_count()):
        yield from below(node.get_child_at_index(i))


def row(node):
    what = int(node.get_current_value()) if node.get_role() == Atspi.Role.SLIDER else node.get_name()
    states = node.get_state_set()
    return [node.get_role_name(), what, [state.value_nick for state in STATES if states.contains(state)]]


def main(role=None, value=None):
    desktop = Atspi.get_desktop(0)
    desktop.clear_cache()
    if desktop.get_child_count() != 1:
        sys.exit(3)
    nodes = list(below(desktop.get_child_at_index(0)))
    if role is None:
        print(json.dumps([row(node) for node in nodes]))
        return
    node = next(node for node in nodes if node.get_role_name() == role)
    if value is not None:
        node.set_current_value(float(value))
    else:
        node.do_action(0)


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except GLib.Error:  # the program came or went meanwhile
        sys.exit(3)
