"""A headless Chromium, driven over its debugging pipe: the standard library is enough."""

import json
import os
import select
import shutil
import subprocess
import tempfile
import time


def find():
    return next(filter(None, map(shutil.which, ("chromium", "chromium-browser", "google-chrome"))), None)


class Browser:
    """One page. Use as a context: the browser and its folder go with it."""

    def __init__(self, program, seconds=30.0):
        self.seconds, self.number, self.received, self.events = seconds, 0, b"", []
        self.folder = tempfile.mkdtemp(prefix="lintrix-browser-")
        to_browser, self.out = os.pipe()
        self.into, from_browser = os.pipe()
        command = [program, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                   "--disable-extensions", "--disable-background-networking", "--remote-debugging-pipe",
                   f"--user-data-dir={self.folder}", "about:blank"]
        # The pipe is read at descriptor 3 and written at 4, which a shell puts in place.
        script = f'exec "$@" 3<&{to_browser} 4>&{from_browser}'
        self.process = subprocess.Popen(["bash", "-c", script, "bash", *command], pass_fds=(to_browser, from_browser),
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env={**os.environ, "HOME": self.folder})
        os.close(to_browser)
        os.close(from_browser)
        self.session = self.send("Target.attachToTarget", targetId=self._page(), flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(f"{domain}.enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self.out)                               # which ends the browser
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        os.close(self.into)
        shutil.rmtree(self.folder, ignore_errors=True)

    # The protocol: messages end in a zero byte

    def send(self, method, session=None, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters} | ({"sessionId": session} if session else {})
        os.write(self.out, json.dumps(message).encode() + b"\0")
        number, end = self.number, time.monotonic() + self.seconds
        while True:
            answer = self._next(end, method)
            if answer.get("id") == number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']['message']}")
                return answer["result"]
            self.events.append(answer)

    def call(self, method, **parameters):
        return self.send(method, self.session, **parameters)

    def _next(self, end, what):
        while b"\0" not in self.received:
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.into], [], [], left)[0]:
                raise TimeoutError(f"the browser does not answer: {what}")
            chunk = os.read(self.into, 1 << 16)
            if not chunk:
                raise EOFError(f"the browser has ended: {what}")
            self.received += chunk
        message, _, self.received = self.received.partition(b"\0")
        return json.loads(message)

    # Pages

    def _page(self):
        """The first one, which the browser may open after it has begun to answer."""
        end = time.monotonic() + self.seconds
        while time.monotonic() < end:
            for target in self.send("Target.getTargets")["targetInfos"]:
                if target["type"] == "page":
                    return target["targetId"]
            time.sleep(0.05)
        raise TimeoutError("the browser opens no page")

    def evaluate(self, script):
        result = self.call("Runtime.evaluate", expression=script, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{script}: {result['exceptionDetails']['text']} {result['result'].get('description', '')}")
        return result["result"].get("value")

    def wait(self, condition):
        """Until a condition of the page holds."""
        end = time.monotonic() + self.seconds
        while True:
            try:
                if self.evaluate(condition):
                    return
            except RuntimeError:                         # between two pages there is none
                pass
            if time.monotonic() > end:
                raise TimeoutError(f"in vain: {condition}")
            time.sleep(0.05)

    def arrive(self, condition):
        """Until a page of which a condition holds has been loaded and painted: a new document calls itself complete before
        its first byte is there, and input is dropped before the first picture."""
        self.wait(f"""({condition}) && performance.getEntriesByType('navigation')[0]?.loadEventEnd > 0 &&
                  performance.getEntriesByType('paint').length > 0""")

    def open(self, url):
        self.evaluate("window.isLeft = true")             # the page before, which may be the same one
        self.call("Page.navigate", url=url)
        self.arrive(f"!window.isLeft && location.href === {json.dumps(url)}")

    def click(self, selector):
        """As a person would: at the middle of what is seen."""
        self.wait(f"document.querySelector({json.dumps(selector)}) !== null")
        x, y = self.evaluate(f"""(() => {{
            const e = document.querySelector({json.dumps(selector)});
            e.scrollIntoView({{block: "center", behavior: "instant"}});
            const r = e.getClientRects()[0];
            return [r.x + r.width / 2, r.y + r.height / 2];
        }})()""")
        for kind in ("mousePressed", "mouseReleased"):
            self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", clickCount=1)

    def type(self, text):
        self.call("Input.insertText", text=text)

    def press(self, key):
        code = {"Enter": 13, "Escape": 27, "Tab": 9, "ArrowDown": 40, "/": 191}[key]
        text = {"Enter": "\r", "/": "/"}.get(key, "")
        for kind in ("keyDown", "keyUp"):
            extra = {"text": text} if text and kind == "keyDown" else {}
            self.call("Input.dispatchKeyEvent", type=kind, key=key, code=key, windowsVirtualKeyCode=code, **extra)

    def size(self, width, height):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=width < 600)

    def dark(self, on):
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": "dark" if on else "light"}])

    def picture(self, path):
        import base64
        with open(path, "wb") as out:
            out.write(base64.b64decode(self.call("Page.captureScreenshot")["data"]))

    def complaints(self):
        """What the console was told of errors since the last question."""
        self.evaluate("1")                               # so that what has happened has been told
        found = []
        for event in self.events:
            match event.get("method"), event.get("params", {}):
                case "Runtime.exceptionThrown", {"exceptionDetails": details}:
                    found.append(details.get("exception", {}).get("description", details["text"]))
                case "Log.entryAdded", {"entry": {"level": "error", "text": text, **rest}}:
                    found.append(f"{text} {rest.get('url', '')}")
                case "Runtime.consoleAPICalled", {"type": "error", "args": arguments}:
                    found.append(" ".join(str(a.get("value", a.get("description"))) for a in arguments))
                case "Network.loadingFailed", {"errorText": text, "canceled": False}:
                    found.append(text)
        self.events.clear()
        return found
