"""A headless browser for tests, and pictures of what it shows.

It needs Debian's packages chromium, chromium-driver, python3-pil and python3-selenium. Where they are
missing, or the browser does not start, a script of tests says so and ends as skipped.
"""

import contextlib
import os
import shutil
import signal
import sys
import tempfile
import unittest

SKIPPED = 77  # the exit status that CTest knows


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


try:
    from PIL import Image
    from selenium.common.exceptions import WebDriverException
    from selenium.webdriver import ActionChains, Chrome, ChromeOptions
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common import utils
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError as error:
    skip(error)


class LocalService(Service):
    """The driver by its address: not every machine knows the name localhost.

    For the same reason driver and browser talk over a pipe.
    """

    ADDRESS = "127.0.0.1"

    @property
    def service_url(self):
        return f"http://{self.ADDRESS}:{self.port}"

    def is_connectable(self):
        return utils.is_connectable(self.port, self.ADDRESS)


class Browser(Chrome):
    def __init__(self):
        os.environ["no_proxy"] = LocalService.ADDRESS
        self.profile = tempfile.mkdtemp(prefix="browser-")
        options = ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for argument in ("--headless", "--no-sandbox", "--remote-debugging-pipe", "--disable-gpu",
                         "--disable-background-networking", "--disable-component-update",
                         "--disable-sync", "--window-size=1500,1000",
                         f"--user-data-dir={self.profile}"):
            options.add_argument(argument)
        super().__init__(service=LocalService(shutil.which("chromedriver")), options=options)

    def quit(self):
        super().quit()
        # Its processes may still be ending.
        shutil.rmtree(self.profile, ignore_errors=True)

    def open(self, path, scheme):
        self.execute_cdp_cmd("Emulation.setEmulatedMedia",
                             {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.get(path.as_uri())

    @contextlib.contextmanager
    def printing(self):
        """Shows the page as it is printed."""
        self.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
        try:
            yield
        finally:
            self.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": ""})

    def run(self, script, *arguments):
        return self.execute_script(script, *arguments)

    def move_to(self, selector):
        element = self.find_element(By.CSS_SELECTOR, selector)
        self.run("arguments[0].scrollIntoView({block: 'center'})", element)
        ActionChains(self, duration=0).move_to_element(element).perform()

    def move_away(self):
        actions = ActionChains(self, duration=0)
        actions.w3c_actions.pointer_action.move_to_location(2, 2)
        actions.perform()

    def press_tab(self):
        ActionChains(self).send_keys(Keys.TAB).perform()

    def picture(self, path):
        """Makes a picture of the window as it is."""
        self.save_screenshot(str(path))
        with Image.open(path) as image:
            return image.convert("RGB")

    @contextlib.contextmanager
    def window(self, width, height):
        self.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                             {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        try:
            yield
        finally:
            self.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})


def colours(picture):
    return {colour for _, colour in picture.getcolors(picture.width * picture.height)}


def luminance(colour):
    """The relative luminance that contrast is measured by."""
    parts = [value / 255 for value in colour]
    linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4
              for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(one, other):
    lights = sorted((luminance(one), luminance(other)))
    return (lights[1] + 0.05) / (lights[0] + 0.05)


def stop(number, _):
    # The only exception that ends unittest at once.
    raise KeyboardInterrupt(f"stopped by signal {number}")


def run_tests(case, seconds):
    """Runs the tests of the script, which find a browser in their class."""
    for signal_number in (signal.SIGALRM, signal.SIGTERM, signal.SIGINT):
        signal.signal(signal_number, stop)
    signal.alarm(seconds)
    for program in ("chromium", "chromedriver"):
        if not shutil.which(program):
            skip(f"{program} is missing")
    try:
        case.browser = Browser()
    except WebDriverException as error:
        skip(f"the browser does not start: {error.msg}")
    with case.browser:
        unittest.main(argv=sys.argv[:1], verbosity=2)
