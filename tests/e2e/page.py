#!/usr/bin/env python3
"""The page of cimhost serve in a browser: Debian's chromium, without a screen.

Usage: page.py [CASE...]; the environment names the programs. Exits with 77 where there is no chromium, chromedriver or
selenium.
"""
import pathlib
import re
import shutil
import struct
import sys
import tempfile
import unittest

import wbem

try:
    from selenium import webdriver
    from selenium.common.exceptions import StaleElementReferenceException
    from selenium.webdriver.chrome.options import Options
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError:
    webdriver = None

PATIENCE = 30  # seconds, for whatever should come at once
FORGED = '<script>window.forged=1</script>"\'><img src=x onerror="window.forged=1">&amp;\u202e\x1b[31m'
SHOWN = FORGED.replace("\u202e", "\\xe2\\x80\\xae").replace("\x1b", "\\x1b")
FLAGS = """--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking
--disable-component-update --disable-sync --disable-dev-shm-usage""".split()


def slot(number, designation, width=0x0b, usage=4):
    """An SMBIOS structure of type 9; its bytes and numbers are those of DSP0134."""
    data = bytes([9, 13]) + struct.pack("<HBBBBBHBB", 0x900 + number, 1, 0xb1, width, usage, 4, number, 4, 0)
    return data + designation.encode() + b"\0\0"


def write_host(directory, slots, functions):
    """A host directory with these slots, and with functions (bus, device, class) of one vendor with an odd name."""
    files = pathlib.Path(directory)
    for folder in ("proc/bus/pci", "bmc", "etc/vmware"):
        (files / folder).mkdir(parents=True, exist_ok=True)
    end = bytes([127, 4, 0xf0, 0xff, 0, 0])
    head = bytearray(31)
    struct.pack_into("<H", head, 28, len(slots) + 1)
    (files / "bmc/smbios-table").write_bytes(bytes(head) + b"".join(slots) + end)
    (files / "hostname").write_text("odd.example\n")
    name = FORGED.replace("<", "&lt;")  # or the provider takes it for the end of the name
    (files / "etc/vmware/pci.xml").write_text(
        f'<vendor id="1234"><name>{FORGED}</name><device id="5678"><name>{name}</name></device></vendor>')
    (files / "etc/vmware/pci.classlist").write_text("C 02  Network controller\n\t00  Ethernet controller\n")
    write_functions(files, functions)


def write_functions(files, functions):
    lines = []
    for bus, device, base in functions:
        lines.append(f"{bus:02x}{device << 3:02x}\t12345678\t10" + "\t0" * 14 + "\tdriver\n")
        (files / f"proc/bus/pci/{bus:02x}").mkdir(exist_ok=True)
        config = bytearray(64)
        struct.pack_into("<HH", config, 0, 0x1234, 0x5678)
        config[11] = base
        (files / f"proc/bus/pci/{bus:02x}/{device:02x}.0").write_bytes(bytes(config))
    (files / "proc/bus/pci/devices").write_text("".join(lines))


def start_browser(profile):
    options = Options()
    for flag in FLAGS + [f"--user-data-dir={profile}"]:
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.directory.cleanup)
        top = pathlib.Path(cls.directory.name)
        cls.odd, many = top / "odd", top / "many"
        cls.functions = [(0, 0, 6), (2, 0, 2), (2, 3, 2), (3, 3, 3)]
        write_host(cls.odd, [slot(3, FORGED), slot(5, "PCIe Slot 5", usage=3)], cls.functions)
        write_host(many, [slot(n, f"Riser {n // 8} with a rather long name, slot {n}", [0x08, 0x0b, 0x0d][n % 3])
                          for n in range(1, 61)], [(bus, n % 32, n % 18) for bus in range(1, 6) for n in range(30)])
        slow = top / "slow"  # its second reading, as each opens the table three times
        write_host(slow, [slot(3, "PCIe Slot 3")], cls.functions)
        (slow / "bmc/faults.json").write_text('{"faults": [{"on": "open", "from": 4, "times": 3, "delayMs": 1800}]}')
        cls.pages = [cls.enterClassContext(wbem.serving(str(host))) + "/" for host in (cls.odd, many, slow)]
        cls.browser = start_browser(top / "profile")
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.set_page_load_timeout(PATIENCE)

    def setUp(self):
        write_functions(self.odd, self.functions)
        self.show(self.pages[0])

    def tearDown(self):
        """Whatever the console says is a fault: what the policy refuses, for one."""
        self.assertEqual([entry["message"] for entry in self.browser.get_log("browser")], [])

    def show(self, page, width=1100, scheme="light"):
        emulate = self.browser.execute_cdp_cmd
        emulate("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
        emulate("Emulation.setDeviceMetricsOverride",
                {"width": width, "height": 800, "deviceScaleFactor": 1, "mobile": width < 600})
        self.browser.get(page)

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def shown(self, selector):
        return [element for element in self.all(selector) if element.is_displayed()]

    def rows(self):
        return [row.text for row in self.shown("#functions tbody tr")]

    def wait_for(self, holds):
        """The page may be exchanged for another one meanwhile."""
        wait = WebDriverWait(self.browser, PATIENCE, ignored_exceptions=[StaleElementReferenceException])
        wait.until(lambda _: holds())

    def script(self, text):
        return self.browser.execute_script("return " + text)

    def test_the_picture_is_there(self):
        self.assertEqual(self.all("h1")[0].text, "odd.example")
        picture, = self.shown("#picture svg.machine")
        texts = [text.text for text in picture.find_elements(By.TAG_NAME, "text")]
        for text in ("3", "5", "PCIe Slot 5", "in use", "available", "02:03.0", "Bus 00", "Bus 02"):
            self.assertIn(text, texts)
        self.assertEqual(self.all("#age")[0].text.split()[1], "s")
        self.assertEqual(len(self.rows()), 5)  # one for each function, and for the empty slot

    def test_texts_fit_where_they_are_drawn(self):
        """By the font that the browser has, not by the estimate of the layout."""
        for page in self.pages:
            for width in (1100, 390):
                self.show(page, width)
                out = self.script("""Array.from(document.querySelectorAll("#picture svg text")).filter((text) => {
                    const svg = text.closest("svg.machine");
                    if (getComputedStyle(svg).display === "none") return false;
                    const box = text.parentNode.querySelector("rect").getBBox(), own = text.getBBox();
                    return own.x < box.x || own.x + own.width > box.x + box.width;
                }).map((text) => text.textContent)""")
                self.assertEqual(out, [])

    def test_the_filter_filters(self):
        field, = self.shown("#filter")
        field.send_keys("SLOT 3")
        self.assertEqual(len(self.rows()), 2)
        self.assertEqual(self.all("#shown")[0].text, "2 of 5 rows")
        field.send_keys(", 02:03.0")
        self.assertEqual(len(self.rows()), 1)
        field.send_keys("nothing like this")
        self.assertEqual(self.rows(), [])
        field.clear()
        field.send_keys(Keys.SPACE)
        self.assertEqual(len(self.rows()), 5)

    def test_the_button_reads_again_and_looking_does_not(self):
        write_functions(self.odd, self.functions + [(7, 0, 2)])
        self.browser.refresh()
        self.assertEqual(len(self.rows()), 5)
        self.all("#again")[0].click()
        self.wait_for(lambda: len(self.rows()) == 6)
        self.assertEqual(self.browser.current_url, self.pages[0])
        write_functions(self.odd, self.functions)
        self.show(self.pages[0])
        self.press_with_keyboard()
        self.wait_for(lambda: len(self.rows()) == 5)
        self.wait_for(lambda: self.active() == "again")  # where it was

    def test_the_filter_can_be_used_while_a_reading_is_under_way(self):
        self.show(self.pages[2])
        self.all("#again")[0].click()
        self.wait_for(lambda: self.all("#notes p"))
        self.all("#filter")[0].send_keys("slot 73" + Keys.LEFT)
        self.script("window.before = true")
        self.wait_for(lambda: self.script("window.before") is None)
        self.assertEqual(len(self.all("#notes p")), 1)  # still under way
        self.assertEqual([self.active(), self.rows()], ["filter", []])
        self.browser.switch_to.active_element.send_keys(Keys.BACKSPACE)
        self.wait_for(lambda: not self.all("#notes p"))
        self.assertEqual(self.all("#filter")[0].get_property("value"), "slot 3")
        self.assertEqual([self.active(), len(self.rows())], ["filter", 2])
        self.show(self.pages[2])
        self.assertEqual([self.active(), len(self.rows())], ["", 4])

    def active(self):
        return self.script("document.activeElement.id")

    def press_with_keyboard(self):
        """The button is the first that Tab leads to, and the filter the second."""
        active = lambda: self.browser.switch_to.active_element
        active().send_keys(Keys.TAB)
        self.assertEqual(active().get_attribute("id"), "again")
        active().send_keys(Keys.TAB)
        self.assertEqual(active().get_attribute("id"), "filter")
        active().send_keys(Keys.SHIFT + Keys.TAB)
        self.assertNotEqual(self.script("getComputedStyle(document.activeElement).outlineStyle"), "none")
        active().send_keys(Keys.ENTER)

    def test_texts_of_firmware_and_catalogue_stay_texts(self):
        self.assertIn(SHOWN, self.all("#functions")[0].text)
        self.assertTrue(any(SHOWN[:20] in text.text for text in self.shown("#picture svg text")))
        self.assertIsNone(self.script("window.forged"))
        self.assertEqual(len(self.all("script, img")), 1)

    def test_the_page_is_never_wider_than_the_screen(self):
        for page in self.pages:
            for width in (320, 390, 600, 760, 761, 1100):
                self.show(page, width)
                self.assertLessEqual(self.script("document.documentElement.scrollWidth"), width)
                self.assertEqual(len(self.shown("#picture svg.machine")), 1)
        self.show(self.pages[1], 390)
        self.assertGreaterEqual(self.script("""document.querySelector("#picture svg.narrow").getBoundingClientRect().width
            / document.querySelector("#picture svg.narrow").viewBox.baseVal.width * 12"""), 11)  # pixels of a text

    def test_it_is_light_or_dark_as_the_browser_prefers(self):
        ground = """getComputedStyle(document.querySelector("#picture .ground>rect")).fill"""
        body = "getComputedStyle(document.body).backgroundColor"
        self.show(self.pages[0], scheme="light")
        self.assertEqual([self.script(ground), self.script(body)], ["rgb(255, 255, 255)"] * 2)
        self.show(self.pages[0], scheme="dark")
        self.assertEqual([self.script(ground), self.script(body)], ["rgb(11, 15, 13)"] * 2)

    def test_without_scripts_there_is_all_but_the_filter(self):
        self.browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
        try:
            write_functions(self.odd, self.functions + [(7, 0, 2)])
            self.browser.refresh()
            self.assertEqual(len(self.all("#filtering")), 1)
            self.assertEqual(self.shown("#filtering"), [])
            self.assertEqual(len(self.shown("#picture svg.machine")), 1)
            self.all("#again")[0].click()
            self.wait_for(lambda: len(self.all("#functions tbody tr")) == 6)
            write_functions(self.odd, self.functions)
            self.all("#again")[0].click()
            self.wait_for(lambda: len(self.all("#functions tbody tr")) == 5)
        finally:
            self.browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": False})

    def test_names_are_told_to_those_who_do_not_see(self):
        self.assertRegex(self.all("#picture svg.machine")[0].accessible_name, re.escape("odd.example: 2 slots, 1 in use"))
        self.assertEqual(self.all("#filter")[0].accessible_name, "Filter")
        self.assertEqual(self.all("#again")[0].accessible_name, "Read again")


def missing():
    """What there is no browser for want of."""
    found = {"python3-selenium": webdriver, "chromium": shutil.which("chromium"),
             "chromium-driver": shutil.which("chromedriver")}
    return [name for name, there in found.items() if not there]


if __name__ == "__main__":
    if missing():
        print("not installed:", *missing())
        sys.exit(77)
    unittest.main()
