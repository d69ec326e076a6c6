#!/usr/bin/python3
# A GTK 4 task window for the desktop tests: a "Name" entry, a "Subscribe" check box and a "_Save"
# button. Prints one JSON line with its pid, its X11 window and its widgets' rectangles in that
# window once shown, then one JSON line per thing that happens, as task_app.py does.
# Usage: gtk4_app.py [--title T]
import argparse
import json
import os

import gi

gi.require_version("Gtk", "4.0")
gi.require_version("GdkX11", "4.0")
from gi.repository import Gtk, GdkX11, GLib  # noqa: E402

parser = argparse.ArgumentParser()
parser.add_argument("--title", default="Order Form")
args = parser.parse_args()

GLib.set_prgname("tavrik-gtk4-form")


def emit(**fields):
    print(json.dumps(fields), flush=True)


def rect(widget, window):
    # GTK 4 knows no global coordinates: the test places the rectangles with the X window.
    ok, bounds = widget.compute_bounds(window)
    sx, sy = window.get_surface_transform()
    return [sx + bounds.get_x(), sy + bounds.get_y(), bounds.get_width(), bounds.get_height()]


class TaskWindow(Gtk.ApplicationWindow):
    def __init__(self, app):
        super().__init__(application=app, title=args.title)
        self.set_default_size(360, 240)
        box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=8)
        for side in ("top", "bottom", "start", "end"):
            getattr(box, "set_margin_" + side)(16)
        self.name = Gtk.Entry()
        self.name.update_property([Gtk.AccessibleProperty.LABEL], ["Name"])
        self.subscribe = Gtk.CheckButton(label="Subscribe")
        # A mnemonic, as real applications give their buttons.
        save = Gtk.Button(label="_Save", use_underline=True)
        save.connect("clicked", self.save)
        for w in (Gtk.Label(label="Your order", xalign=0), self.name, self.subscribe, save):
            box.append(w)
        self.set_child(box)
        self.widgets = {"name": self.name, "subscribe": self.subscribe, "save": save}
        self.connect("map", lambda _w: GLib.timeout_add(300, self.report))
        self.present()
        self.name.grab_focus()

    def report(self):
        layout = {"pid": os.getpid(), "xid": self.get_surface().get_xid()}
        for key, widget in self.widgets.items():
            layout[key] = rect(widget, self)
        emit(**layout)
        return False

    def save(self, _button):
        emit(event="saved", name=self.name.get_text(), subscribe=self.subscribe.get_active())


class TaskApp(Gtk.Application):
    def __init__(self):
        super().__init__(application_id="org.tavrik.Gtk4Form")

    def do_activate(self):
        TaskWindow(self)


TaskApp().run([])
