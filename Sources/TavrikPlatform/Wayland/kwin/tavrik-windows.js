// Tavrik's eyes inside KWin: on request, the windows and the pointer, sent to the Tavrik process
// that loaded this script. KWin scripts cannot be called, so the script asks Tavrik for its next
// request over D-Bus and Tavrik answers when it has one (or "idle" before the call times out).
const service = "@SERVICE@";
const path = "/app/tavrik/KWin";
const iface = "app.tavrik.KWin";

function rect(g) {
    return { x: g.x, y: g.y, width: g.width, height: g.height };
}

function listed(c) {
    return (c.normalWindow || c.dialog) && !c.deleted;
}

function windows() {
    const found = [];
    const clients = workspace.clientList();
    for (let i = 0; i < clients.length; ++i) {
        const c = clients[i];
        if (!listed(c))
            continue;
        found.push({
            id: String(c.internalId),
            pid: c.pid,
            resourceClass: String(c.resourceClass),
            desktopFileName: String(c.desktopFileName || ""),
            caption: String(c.caption),
            frame: rect(c.frameGeometry),
            buffer: rect(c.bufferGeometry),
            decorated: !c.noBorder,
            stacking: c.stackingOrder,
            active: c.active,
            minimized: c.minimized,
            hidden: c.hidden
        });
    }
    found.sort(function (a, b) { return b.stacking - a.stacking; });
    return found;
}

function report(serial) {
    const state = {
        serial: serial,
        cursor: { x: workspace.cursorPos.x, y: workspace.cursorPos.y },
        windows: windows()
    };
    callDBus(service, path, iface, "report", JSON.stringify(state));
}

function activate(id) {
    const clients = workspace.clientList();
    for (let i = 0; i < clients.length; ++i) {
        if (String(clients[i].internalId) === id) {
            workspace.activeClient = clients[i];
            return;
        }
    }
}

function next() {
    callDBus(service, path, iface, "next", function (request) {
        const space = request.indexOf(" ");
        const verb = space < 0 ? request : request.substring(0, space);
        const argument = space < 0 ? "" : request.substring(space + 1);
        if (verb === "quit")
            return;
        if (verb === "activate")
            activate(argument);
        else if (verb === "report")
            report(parseInt(argument));
        next();
    });
}

report(0);
next();
