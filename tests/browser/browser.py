"""A browser without a window, driven through its debugging pipe: one JSON message after the other, a zero byte between."""

import base64
import json
import os
import shutil
import signal
import subprocess
import tempfile
import time


class Browser:
    """Every wait is bounded, and the browser goes with close()."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="tolm_browser_")
        their_input, self.output = os.pipe()
        self.input, their_output = os.pipe()

        def pipes():
            # The browser reads from 3 and writes to 4. Copies first: either number may be taken.
            reading, writing = os.dup(their_input), os.dup(their_output)
            os.dup2(reading, 3)
            os.dup2(writing, 4)

        program = shutil.which("chromium") or shutil.which("chromium-browser")
        if program is None:
            raise RuntimeError("there is no chromium; scripts/packages.txt names it under \"browser\"")
        self.process = subprocess.Popen(
            [program, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
             "--disable-background-networking", "--remote-debugging-pipe", f"--user-data-dir={self.folder}",
             "about:blank"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, close_fds=False,
            preexec_fn=pipes, start_new_session=True, env={**os.environ, "HOME": self.folder})
        os.close(their_input)
        os.close(their_output)
        os.set_blocking(self.input, False)
        self.buffer = b""
        self.number = 0
        self.session = None
        self.events = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")

    def read(self, end):
        while b"\0" not in self.buffer:
            if time.monotonic() > end:
                raise AssertionError("the browser doesn't answer")
            try:
                data = os.read(self.input, 1 << 20)
                if not data:
                    raise AssertionError("the browser has ended")
                self.buffer += data
            except BlockingIOError:
                time.sleep(0.01)
        message, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, seconds=60, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session is not None:
            message["sessionId"] = self.session
        os.write(self.output, json.dumps(message).encode() + b"\0")
        end = time.monotonic() + seconds
        while True:
            answer = self.read(end)
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise AssertionError(f"{method}: {answer['error']}")
                return answer["result"]
            self.events.append(answer)

    def open(self, path):
        self.events.clear()
        self.call("Page.navigate", url="file://" + str(path))
        self.wait("document.readyState === 'complete' && location.protocol === 'file:'")

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise AssertionError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait(self, expression, seconds=30):
        end = time.monotonic() + seconds
        while not self.evaluate(expression):
            if time.monotonic() > end:
                raise AssertionError(f"{expression} didn't come true")
            time.sleep(0.05)

    def messages(self):
        """What the console said and what the page asked for beyond itself."""
        self.evaluate("1")
        kinds = ("Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded",
                 "Page.javascriptDialogOpening")
        return [event for event in self.events if event.get("method") in kinds] + [
            event for event in self.events if event.get("method") == "Network.requestWillBeSent"
            and not event["params"]["request"]["url"].startswith("file://")]

    def size(self, width, height):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def scheme(self, name):
        self.call("Emulation.setEmulatedMedia", media="", features=[{"name": "prefers-color-scheme", "value": name}])

    def press(self, key, code):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key, windowsVirtualKeyCode=code,
                      text="\r" if key == "Enter" and kind == "keyDown" else "")

    def screenshot(self, path, whole=False):
        data = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=whole)["data"]
        with open(path, "wb") as file:
            file.write(base64.b64decode(data))

    def pdf(self):
        return base64.b64decode(self.call("Page.printToPDF")["data"])

    def close(self):
        os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()
        os.close(self.output)
        os.close(self.input)
        shutil.rmtree(self.folder, ignore_errors=True)
