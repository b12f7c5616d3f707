"""Reads and works the wizard through the accessibility service, as a screen reader does.

usage: wizard_accessibility.py COMMAND [ARGUMENT...]

  wait-active         until the wizard's window has the keyboard
  wait-inactive       until it knows that it hasn't
  tree                one line a visible object: role, name, description, text or value, by tabs
  all                 the same with the objects that aren't visible, a "hidden" before their role
  press NAME          the action of the button, check box or menu item of that name
  set NAME FILE       the text of the visible input of that name to the file's (UTF-8)
  wait-text TEXT      until a visible label starts with TEXT; prints the whole label
  wait-tree TEXT      until the tree, as told above, holds TEXT; prints it
  follow-bar FOLDER   the values of the progress bar, until it is gone; one line each. Each new value makes a
                      file in FOLDER, by their number: 1, 2, 3
"""

import sys
import time

import pyatspi

LIMIT = 90.0
# A screen that has just come up takes no press for half a second.
QUIET_TIME = 0.6


def application():
    desktop = pyatspi.Registry.getDesktop(0)
    for child in desktop:
        if child is not None and child.name == "tmtolmui":
            return child
    return None


def walk(parent):
    for child in parent:
        if child is None:
            continue
        yield child
        yield from walk(child)


def objects(only_visible=True):
    found = application()
    if found is None:
        return
    try:
        for item in walk(found):
            if not only_visible or shows(item):
                yield item
    except Exception:  # the tree changed or went away under the walk: the next look sees the new one
        return


def shows(item):
    return item.getState().contains(pyatspi.STATE_SHOWING)


def content(item):
    role = item.getRole()
    if role == pyatspi.ROLE_PROGRESS_BAR:
        return str(int(item.queryValue().currentValue))
    if role in (pyatspi.ROLE_TEXT, pyatspi.ROLE_PASSWORD_TEXT):
        return item.queryText().getText(0, -1)
    if role == pyatspi.ROLE_CHECK_BOX:
        return "on" if item.getState().contains(pyatspi.STATE_CHECKED) else "off"
    return ""


def until(look):
    """What `look` gives once it gives something."""
    deadline = time.monotonic() + LIMIT
    while time.monotonic() < deadline:
        result = look()
        if result:
            return result
        time.sleep(0.05)
    sys.exit("nothing came within %d seconds" % LIMIT)


def first(test):
    for item in objects():
        try:
            if test(item):
                return item
        except Exception:
            return None
    return None


def tree(only_visible):
    text = ""
    for item in until(lambda: list(objects(only_visible))):
        line = "\t".join([item.getRoleName(), item.name, item.description, content(item)]).replace("\n", " ")
        text += (line if only_visible or shows(item) else "hidden " + line) + "\n"
    return text


def tree_with(text):
    try:
        found = tree(True)
    except Exception:  # it changed under the walk
        return None
    return found if text in found else None


def press(name):
    def has_name(item):
        return item.name == name and item.getRole() in (
            pyatspi.ROLE_PUSH_BUTTON, pyatspi.ROLE_CHECK_BOX, pyatspi.ROLE_MENU_ITEM)

    until(lambda: first(has_name)).queryAction().doAction(0)


def set_text(name, path):
    def has_name(item):
        return item.name == name and item.getRole() in (pyatspi.ROLE_TEXT, pyatspi.ROLE_PASSWORD_TEXT)

    with open(path, encoding="utf-8", newline="") as file:
        until(lambda: first(has_name)).queryEditableText().setTextContents(file.read())


def follow_bar(folder):
    values = []
    until(lambda: first(lambda item: item.getRole() == pyatspi.ROLE_PROGRESS_BAR))
    deadline = time.monotonic() + LIMIT
    while time.monotonic() < deadline:
        bar = first(lambda item: item.getRole() == pyatspi.ROLE_PROGRESS_BAR)
        if bar is None:
            break
        try:
            value = content(bar)
        except Exception:
            break
        if not values or values[-1] != value:
            values.append(value)
            open("%s/%d" % (folder, len(values)), "w").close()
        time.sleep(0.05)
    print("\n".join(values))


def main(arguments):
    command = arguments[0] if arguments else ""
    if command == "wait-active":
        until(lambda: first(lambda item: item.getRole() == pyatspi.ROLE_FRAME
                            and item.getState().contains(pyatspi.STATE_ACTIVE)))
        time.sleep(QUIET_TIME)
    elif command == "wait-inactive":
        until(lambda: first(lambda item: item.getRole() == pyatspi.ROLE_FRAME
                            and not item.getState().contains(pyatspi.STATE_ACTIVE)))
    elif command == "tree":
        print(tree(True), end="")
    elif command == "all":
        print(tree(False), end="")
    elif command == "press":
        press(arguments[1])
    elif command == "set":
        set_text(arguments[1], arguments[2])
    elif command == "wait-text":
        label = until(lambda: first(lambda item: item.getRole() == pyatspi.ROLE_LABEL
                                    and item.name.startswith(arguments[1])))
        time.sleep(QUIET_TIME)
        print(label.name)
    elif command == "follow-bar":
        follow_bar(arguments[1])
    elif command == "wait-tree":
        print(until(lambda: tree_with(arguments[1])), end="")
    else:
        sys.exit(__doc__)


main(sys.argv[1:])
