#!/usr/bin/python3
# A GTK 3 task window for the replay tests: a name, an unnamed notes field, a password, a check
# box, a fruit list, a colour dialog, Save and "Delete All"; with --quantity also a "Quantity"
# slider from 0 to 100 at 20 below them; with --long-view also a "Log" list of 60 lines in a view
# that scrolls, whose scrolling it reports. Prints one JSON line with its pid and widget rectangles
# once the window manager has placed it and made it active, then one JSON line per thing that
# happens.
# Usage: task_app.py [--at X Y] [--size W H] [--font-size PT] [--extra-fruit NAME] [--title T]
#                    [--quantity] [--long-view]
import argparse
import json
import os

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk, Gdk, GLib  # noqa: E402

parser = argparse.ArgumentParser()
parser.add_argument("--at", nargs=2, type=int, default=[120, 120])
parser.add_argument("--size", nargs=2, type=int, default=[420, 560])
parser.add_argument("--font-size", type=int, default=0)
parser.add_argument("--extra-fruit", default="")
parser.add_argument("--title", default="Order Form")
parser.add_argument("--quantity", action="store_true")
parser.add_argument("--long-view", action="store_true")
args = parser.parse_args()

GLib.set_prgname("tavrik-task-form")


def emit(**fields):
    print(json.dumps(fields), flush=True)


def rect(widget, window):
    x, y = widget.translate_coordinates(window, 0, 0)
    ox, oy = window.get_window().get_origin()[1:]
    a = widget.get_allocation()
    return [ox + x, oy + y, a.width, a.height]


class TaskWindow(Gtk.ApplicationWindow):
    def __init__(self, app):
        super().__init__(application=app, title=args.title)
        self.set_default_size(*args.size)
        self.move(*args.at)
        if args.font_size:
            css = Gtk.CssProvider()
            css.load_from_data(("* { font-size: %dpt; }" % args.font_size).encode())
            Gtk.StyleContext.add_provider_for_screen(Gdk.Screen.get_default(), css,
                                                     Gtk.STYLE_PROVIDER_PRIORITY_APPLICATION)
        box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=8)
        box.set_border_width(16)
        self.name = Gtk.Entry()
        self.name.get_accessible().set_name("Name")
        self.notes = Gtk.Entry()
        self.password = Gtk.Entry()
        self.password.set_visibility(False)
        self.password.get_accessible().set_name("Password")
        # How much was typed, never what: tests wait for it where accessibility hides the text.
        self.password.connect("changed", lambda e: emit(event="password", length=len(e.get_text())))
        self.subscribe = Gtk.CheckButton(label="Subscribe")
        self.fruits = Gtk.ListBox()
        names = ([args.extra_fruit] if args.extra_fruit else []) + ["Apples", "Pears", "Plums"]
        for name in names:
            row = Gtk.ListBoxRow()
            row.add(Gtk.Label(label=name, xalign=0))
            self.fruits.add(row)
            if name == "Pears":
                self.pears = row
        self.colour = "none"
        choose = Gtk.Button(label="Choose Colour…")
        choose.connect("clicked", self.choose_colour)
        save = Gtk.Button(label="Save")
        save.connect("clicked", self.save)
        delete = Gtk.Button(label="Delete All")
        delete.connect("clicked", lambda _b: emit(event="deleted"))
        for w in (Gtk.Label(label="Your order", xalign=0), self.name, self.notes, self.password,
                  self.subscribe, self.fruits, choose, save, delete):
            box.pack_start(w, False, False, 0)
        if args.quantity:
            quantity = Gtk.Scale(orientation=Gtk.Orientation.HORIZONTAL,
                                 adjustment=Gtk.Adjustment(value=20, lower=0, upper=100,
                                                           step_increment=1, page_increment=10))
            quantity.set_digits(0)
            quantity.get_accessible().set_name("Quantity")
            quantity.connect("value-changed",
                             lambda q: emit(event="quantity", value=q.get_value()))
            box.pack_start(quantity, False, False, 0)
        if args.long_view:
            view = Gtk.ScrolledWindow()
            view.set_policy(Gtk.PolicyType.NEVER, Gtk.PolicyType.ALWAYS)
            view.set_min_content_height(160)
            view.get_accessible().set_name("Log")
            lines = Gtk.ListBox()
            for i in range(1, 61):
                lines.add(Gtk.Label(label="Line %d" % i, xalign=0))
            view.add(lines)
            view.get_vadjustment().connect(
                "value-changed", lambda a: emit(event="scrolled", value=a.get_value(), page=a.get_page_size()))
            box.pack_start(view, False, False, 0)
        self.add(box)
        self.show_all()
        self.name.grab_focus()
        self.widgets = {"name": self.name, "notes": self.notes, "password": self.password,
                        "subscribe": self.subscribe, "fruits": self.fruits, "choose": choose,
                        "save": save, "delete": delete, "pears": self.pears}
        # Reported once an X window manager has placed the window and handed it the focus (until
        # then the window is where GTK asked it to be), and not before its first layout had time:
        # sway hands the focus before it tiles the window, and weston may never hand it.
        self.reported = False
        self.laid_out = False
        self.placed_by_manager = self.get_window().__gtype__.name.startswith("GdkX11")
        GLib.timeout_add(300, self.after_layout)
        self.connect("notify::is-active", self.report)

    def after_layout(self):
        self.laid_out = True
        self.report()
        return False

    def report(self, *_args):
        if self.reported or not self.laid_out or (self.placed_by_manager and not self.is_active()):
            return
        self.reported = True
        layout = {"pid": os.getpid(), "window": rect(self.get_child(), self)}
        for key, widget in self.widgets.items():
            layout[key] = rect(widget, self)
        emit(**layout)

    def choose_colour(self, _button):
        dialog = Gtk.Dialog(title="Pick a Colour", transient_for=self, modal=True)
        dialog.add_button("Red", 1)
        dialog.add_button("Blue", 2)
        answer = dialog.run()
        self.colour = {1: "red", 2: "blue"}.get(answer, "none")
        dialog.destroy()

    def save(self, _button):
        row = self.fruits.get_selected_row()
        emit(event="saved", name=self.name.get_text(), notes=self.notes.get_text(),
             password=self.password.get_text(), subscribe=self.subscribe.get_active(),
             fruit=row.get_child().get_text() if row else "", colour=self.colour)


class TaskApp(Gtk.Application):
    def __init__(self):
        super().__init__(application_id="org.tavrik.TaskForm")

    def do_activate(self):
        TaskWindow(self)


TaskApp().run([])
