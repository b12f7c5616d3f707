"""A file manager that shows nothing: answers to org.freedesktop.FileManager1 on the session bus and writes
what it is asked to show into a file.

usage: file_manager.py FILE

Prints a line once it has its name, then serves until it is ended.
"""

import sys

from gi.repository import Gio, GLib

INTERFACE = """<node><interface name='org.freedesktop.FileManager1'><method name='ShowItems'>
<arg type='as' direction='in'/><arg type='s' direction='in'/></method></interface></node>"""


def called(connection, sender, path, interface, method, parameters, invocation):
    with open(sys.argv[1], "a") as file:
        for uri in parameters[0]:
            file.write(uri + "\n")
    invocation.return_value(None)


def acquired(connection, name):
    node = Gio.DBusNodeInfo.new_for_xml(INTERFACE)
    connection.register_object("/org/freedesktop/FileManager1", node.interfaces[0], called)


def named(connection, name):
    print("ready", flush=True)


loop = GLib.MainLoop()
Gio.bus_own_name(Gio.BusType.SESSION, "org.freedesktop.FileManager1", 0, acquired, named, lambda *_: loop.quit())
GLib.timeout_add_seconds(120, loop.quit)
loop.run()
