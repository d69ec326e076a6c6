/* Tavrik's window of GNOME Shell: where windows and the pointer are, and the shortcuts Tavrik
 * takes. Wayland gives an ordinary client none of these. Everything is offered on the session bus
 * under app.tavrik.Shell; nothing is shown and nothing is stored. */

const { Gio, GLib, Meta, Shell } = imports.gi;
const Main = imports.ui.main;

const BUS_NAME = 'app.tavrik.Shell';
const OBJECT_PATH = '/app/tavrik/Shell';
const INTERFACE = `<node>
  <interface name="app.tavrik.Shell">
    <method name="GetPointer">
      <arg type="i" name="x" direction="out"/>
      <arg type="i" name="y" direction="out"/>
      <arg type="u" name="modifiers" direction="out"/>
    </method>
    <method name="ListWindows">
      <arg type="s" name="windows" direction="out"/>
    </method>
    <method name="ActivateWindow">
      <arg type="t" name="id" direction="in"/>
      <arg type="b" name="activated" direction="out"/>
    </method>
    <method name="GrabAccelerator">
      <arg type="s" name="accelerator" direction="in"/>
      <arg type="u" name="action" direction="out"/>
    </method>
    <method name="UngrabAccelerator">
      <arg type="u" name="action" direction="in"/>
      <arg type="b" name="released" direction="out"/>
    </method>
    <signal name="AcceleratorActivated">
      <arg type="u" name="action"/>
    </signal>
  </interface>
</node>`;

function rectOf(r) {
    return { x: r.x, y: r.y, width: r.width, height: r.height };
}

class TavrikShell {
    constructor() {
        // action -> the bus name that grabbed it, so a client that goes away gives its keys back
        this._grabs = new Map();
        this._watches = new Map();
        this._object = Gio.DBusExportedObject.wrapJSObject(INTERFACE, this);
        this._activatedId = global.display.connect('accelerator-activated', (display, action) => {
            if (this._grabs.has(action))
                this._object.emit_signal('AcceleratorActivated', new GLib.Variant('(u)', [action]));
        });
    }

    export() {
        this._object.export(Gio.DBus.session, OBJECT_PATH);
        this._nameId = Gio.DBus.session.own_name(BUS_NAME, Gio.BusNameOwnerFlags.NONE, null, null);
    }

    destroy() {
        for (const action of [...this._grabs.keys()])
            this._release(action);
        global.display.disconnect(this._activatedId);
        Gio.DBus.session.unown_name(this._nameId);
        this._object.unexport();
    }

    GetPointer() {
        const [x, y, modifiers] = global.get_pointer();
        return [x, y, modifiers];
    }

    // Top-level windows, the topmost first. The buffer rectangle counts in the client-side
    // shadow that GTK's accessibility extents start from; the frame is what a person sees.
    ListWindows() {
        const actors = global.get_window_actors();
        const windows = actors.map(actor => actor.meta_window).filter(w => !w.is_override_redirect());
        // A new window is listed before it is placed, first empty, then sized at the corner; it
        // shows once placed.
        const shown = new Set(actors.filter(a => a.is_mapped()).map(a => a.meta_window));
        const stacked = global.display.sort_windows_by_stacking(windows).reverse();
        const focus = global.display.get_focus_window();
        return JSON.stringify(stacked.map(w => ({
            id: w.get_id(),
            pid: w.get_pid(),
            title: w.get_title() ?? '',
            wmClass: w.get_wm_class() ?? '',
            appId: w.get_gtk_application_id() ?? w.get_sandboxed_app_id() ?? '',
            client: w.get_client_type() === Meta.WindowClientType.X11 ? 'x11' : 'wayland',
            focused: w === focus,
            minimized: w.minimized,
            shown: shown.has(w),
            frame: rectOf(w.get_frame_rect()),
            buffer: rectOf(w.get_buffer_rect()),
        })));
    }

    ActivateWindow(id) {
        const window = global.get_window_actors().map(actor => actor.meta_window)
            .find(w => w.get_id() === id);
        if (!window)
            return false;
        Main.activateWindow(window);
        return true;
    }

    GrabAcceleratorAsync(params, invocation) {
        const [accelerator] = params;
        const action = global.display.grab_accelerator(accelerator, Meta.KeyBindingFlags.NONE);
        if (action === Meta.KeyBindingAction.NONE) {
            invocation.return_value(new GLib.Variant('(u)', [0]));
            return;
        }
        const name = Meta.external_binding_name_for_action(action);
        Main.wm.allowKeybinding(name, Shell.ActionMode.ALL);
        const sender = invocation.get_sender();
        this._grabs.set(action, sender);
        if (!this._watches.has(sender)) {
            this._watches.set(sender, Gio.bus_watch_name_on_connection(Gio.DBus.session, sender,
                Gio.BusNameWatcherFlags.NONE, null, () => this._releaseAllOf(sender)));
        }
        invocation.return_value(new GLib.Variant('(u)', [action]));
    }

    UngrabAcceleratorAsync(params, invocation) {
        const [action] = params;
        const owned = this._grabs.get(action) === invocation.get_sender();
        if (owned)
            this._release(action);
        invocation.return_value(new GLib.Variant('(b)', [owned]));
    }

    _release(action) {
        global.display.ungrab_accelerator(action);
        Main.wm.allowKeybinding(Meta.external_binding_name_for_action(action), Shell.ActionMode.NONE);
        this._grabs.delete(action);
    }

    _releaseAllOf(sender) {
        for (const [action, owner] of [...this._grabs])
            if (owner === sender)
                this._release(action);
        const watch = this._watches.get(sender);
        if (watch !== undefined) {
            Gio.bus_unwatch_name(watch);
            this._watches.delete(sender);
        }
    }
}

let shell = null;

function init() {
}

function enable() {
    shell = new TavrikShell();
    shell.export();
}

function disable() {
    shell?.destroy();
    shell = null;
}
