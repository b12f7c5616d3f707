"""Little room in /tmp and where the bundle goes: from none to enough, by steps."""

import privateroot as root
import runs


def go(table, short, seed, only):
    del seed
    for scenario in runs.SCENARIOS[:3]:
        runs.learn(scenario)
        for place, name in (("/tmp", "/tmp"), (runs.BUNDLES, "the bundle's folder")):
            if only not in name:
                continue
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
