# Writes the extension in the form GNOME Shell 45 and later load: an ES module whose default
# export is the extension. The body is the one of the older form, so the two never drift apart;
# only the imports at the top and the enable/disable at the bottom differ.
#   cmake -DSOURCE=<folder of the older form> -DOUTPUT=<folder to write> -P module-extension.cmake
file(READ ${SOURCE}/extension.js legacy)
set(old_imports "const { Gio, GLib, Meta, Shell } = imports.gi;\nconst Main = imports.ui.main;\n")
string(FIND "${legacy}" "${old_imports}" imports_at)
string(FIND "${legacy}" "let shell = null;" tail_at)
if(imports_at EQUAL -1 OR tail_at EQUAL -1)
  message(FATAL_ERROR "extension.js no longer has the imports or the enable/disable this script replaces")
endif()
string(LENGTH "${old_imports}" imports_length)
string(SUBSTRING "${legacy}" 0 ${imports_at} head)
math(EXPR body_at "${imports_at} + ${imports_length}")
math(EXPR body_length "${tail_at} - ${body_at}")
string(SUBSTRING "${legacy}" ${body_at} ${body_length} body)
file(WRITE ${OUTPUT}/extension.js "${head}\
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import Meta from 'gi://Meta';
import Shell from 'gi://Shell';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';
import {Extension} from 'resource:///org/gnome/shell/extensions/extension.js';
${body}\
export default class TavrikExtension extends Extension {
    enable() {
        this._shell = new TavrikShell();
        this._shell.export();
    }

    disable() {
        this._shell?.destroy();
        this._shell = null;
    }
}
")
file(READ ${SOURCE}/metadata.json metadata)
string(REGEX REPLACE "\"shell-version\": \\[[^]]*\\]" "\"shell-version\": [\"45\", \"46\", \"47\", \"48\"]"
  metadata "${metadata}")
file(WRITE ${OUTPUT}/metadata.json "${metadata}")
