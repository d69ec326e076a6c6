#!/usr/bin/python3
# A small GTK 3 form for the accessibility tests: an entry, a password entry and a button.
# Prints one JSON line with its pid and the screen rectangles of its widgets once it is shown,
# then "clicked" when the button is pressed, "activated" when Return is pressed in the entry and
# "entry focused" when the entry gets the keyboard.
# Usage: form_app.py [--app-id ID | --plain NAME] [--title TITLE] [--at X Y] [--no-password]
#                    [--rows N] [--lingering-note]
import argparse
import json
import os
import sys

import gi

parser = argparse.ArgumentParser()
parser.add_argument("--app-id", default="org.tavrik.TestForm")
parser.add_argument("--plain", help="no GtkApplication; this program name instead")
parser.add_argument("--title", default="Tavrik Form")
parser.add_argument("--at", nargs=2, type=int, default=[100, 100])
parser.add_argument("--no-password", action="store_true", help="leave the password entry out")
parser.add_argument("--rows", type=int, default=0, help="a list of this many rows under the button")
parser.add_argument("--lingering-note", action="store_true",
                    help="a \"Note\" entry under the button that goes on reporting focus once it had it")
args = parser.parse_args()

gi.require_version("Atk", "1.0")
gi.require_version("Gtk", "3.0")
from gi.repository import GLib  # noqa: E402

if args.plain:
    # Before GTK starts: it takes the window class from the program name.
    GLib.set_prgname(args.plain)
from gi.repository import Atk, Gtk  # noqa: E402


class LingeringAccessible(Gtk.EntryAccessible):
    """Reports focus from the first time its entry has it on, as a toolkit that tells a focus
    change late (or never) does."""

    def do_ref_state_set(self):
        states = Gtk.EntryAccessible.do_ref_state_set(self)
        widget = self.get_widget()
        if widget is not None and widget.had_focus:
            states.add_state(Atk.StateType.FOCUSED)
        return states


class LingeringEntry(Gtk.Entry):
    def __init__(self):
        super().__init__()
        self.had_focus = False
        self.connect("focus-in-event", self.focused)

    def focused(self, *unused):
        self.had_focus = True
        return False


LingeringEntry.set_accessible_type(LingeringAccessible)


def rect(widget, window):
    x, y = widget.translate_coordinates(window, 0, 0)
    ox, oy = window.get_window().get_origin()[1:]
    a = widget.get_allocation()
    return [ox + x, oy + y, a.width, a.height]


def build(window):
    window.set_title(args.title)
    window.set_default_size(360, 220)
    window.move(*args.at)
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=12)
    box.set_border_width(24)
    entry = Gtk.Entry()
    entry.set_text("hello")
    password = Gtk.Entry()
    password.set_visibility(False)
    password.set_text("hunter2")
    button = Gtk.Button(label="Submit")
    button.get_accessible().set_description("Sends the form")
    button.connect("clicked", lambda b: print("clicked", flush=True))
    entry.connect("activate", lambda e: print("activated", flush=True))
    entry.connect("focus-in-event", lambda *unused: print("entry focused", flush=True))
    entry.connect("notify::cursor-position", lambda e, _: print("caret %d" % e.get_position(), flush=True))
    for w in (entry, button) if args.no_password else (entry, password, button):
        box.pack_start(w, False, False, 0)
    note = None
    if args.lingering_note:
        note = LingeringEntry()
        note.get_accessible().set_name("Note")
        box.pack_start(note, False, False, 0)
    if args.rows:
        rows = Gtk.ListBox()
        for i in range(1, args.rows + 1):
            rows.add(Gtk.Label(label="Row %d" % i))
        box.pack_start(rows, False, False, 0)
    window.add(box)
    window.show_all()
    entry.grab_focus()

    def report():
        layout = {"pid": os.getpid(), "window": rect(box, window), "entry": rect(entry, window),
                  "button": rect(button, window)}
        if not args.no_password:
            layout["password"] = rect(password, window)
        if note is not None:
            layout["note"] = rect(note, window)
        print(json.dumps(layout), flush=True)
        return False

    # Let the window manager place the window before reporting positions.
    window.connect("map-event", lambda *a: GLib.timeout_add(150, report) and False)


if args.plain:
    win = Gtk.Window()
    win.connect("destroy", Gtk.main_quit)
    build(win)
    Gtk.main()
else:
    app = Gtk.Application(application_id=args.app_id)
    app.connect("activate", lambda a: build(Gtk.ApplicationWindow(application=a)))
    sys.exit(app.run([]))
