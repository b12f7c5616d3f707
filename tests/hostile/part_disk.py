"""Little room in /tmp and where the bundle goes: from none to enough, by steps."""

import privateroot as root
import runs


def _places(index, short):
    """The folders that are small, with their names in the table, and whether the bundle goes to the Desktop."""
    places = [
        ("/tmp", "/tmp", False),
        (runs.BUNDLES, "the bundle's folder", False),
        (runs.DESKTOP, "the Desktop", True),
    ]
    # In the short form one of the two that the bundle may go to.
    return [place for number, place in enumerate(places) if not short or number != 2 - index % 2]


def go(table, short, seed, only):
    del seed
    for index, given in enumerate(runs.SCENARIOS[:3]):
        for place, name, on_the_desktop in _places(index, short):
            if only not in name:
                continue
            scenario = given.on_the_desktop() if on_the_desktop else given
            runs.learn(scenario)
            step = 32 if short else 4
            for pages in range(1, 72, step // 4):
                runs.lay_out(scenario)
                root.mount_tmpfs(place, f"mode=1777,size={pages * 4}k")
                try:
                    result = runs.run(scenario.command)
                    faults = runs.verdict(scenario, result, check_next=False)
                finally:
                    root.unmount(place)
                table.add(
                    f"disk: {name}",
                    faults,
                    f"{scenario.name}, {pages * 4} KiB: {result.kind} {result.value} {result.err.strip()[-200:]!r}",
                )
