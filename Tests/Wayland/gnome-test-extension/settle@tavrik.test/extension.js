/* The shell starts in the overview, where new windows never get the keyboard. Tests want the
 * desktop a person sees after the first click, so leave it once start-up is over and own a name
 * on the bus to say so. */
const { Gio } = imports.gi;
const Main = imports.ui.main;

let nameId = 0;
let startupId = 0;

function init() {
}

function settle() {
    Main.overview.hide();
    nameId = Gio.DBus.session.own_name('app.tavrik.TestShellSettled', Gio.BusNameOwnerFlags.NONE, null, null);
}

function enable() {
    if (Main.layoutManager._startingUp)
        startupId = Main.layoutManager.connect('startup-complete', settle);
    else
        settle();
}

function disable() {
    if (startupId)
        Main.layoutManager.disconnect(startupId);
    if (nameId)
        Gio.DBus.session.unown_name(nameId);
    startupId = nameId = 0;
}
