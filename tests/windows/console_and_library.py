#!/usr/bin/python3
"""The console that the shipped program was started from, and where it finds the API library."""

import os
import pathlib
import shutil
import subprocess
import unittest

import pefile

import end_to_end
from end_to_end import API_LIBRARY, AVAILABLE, BUILD, CLOSE_DRIVER_CALL, TWO_CARDS
from waiting import wait_for
from wine_pc import windows_path
from wizard import ADAPTER_PAGE, INTRODUCTION_PAGE

TOOLS = BUILD / "tests" / "windows"
PROGRAM = r"C:\Program Files\Orvanta Configurator\OrvantaConfigurator.exe"
API_LIBRARY_WITHOUT_182 = TOOLS / "without-182" / "Brelvix.dll"

SEARCH_ERROR = "Orvanta Search Error"
OPEN_DRIVER = "OV_openDriver(customerNr)"
SYSTEM_INFORMATION = "OV_getSystemInformation(&m_systemInfo, 0)"
LIBRARY_MISSING = "platform::kernelApi(): Brelvix.dll cannot be loaded, error 126."
DRIVER_MISSING = "OrvantaConfig::isOrvantaInstalled(): Orvanta driver not found.\n"
ORDINAL_MISSING = "platform::kernelApi(): Brelvix.dll has no ordinal 182."
NO_DRIVER = "Unable to open the driver!"
NO_INFORMATION = "Could not get system information"
REPORT = [
    "ERROR (0000007F = 'EXAMPLE_REFUSED') -",
    f"  {SYSTEM_INFORMATION}: {NO_INFORMATION}: Error running command {SYSTEM_INFORMATION}",
    "The licence has expired.",
]
REFUSAL = {"errorName": "EXAMPLE_REFUSED", "errorText": REPORT[2]}
MACHINE = r"System\CurrentControlSet\Control\Session Manager\Environment"


class ConsoleAndLibrary(end_to_end.EndToEnd):
    def start_by(self, tool, *arguments):
        """Starts a program by a tool that notes what it prints."""
        self.printed = self.folder / "printed.txt"
        command = [TOOLS / f"{tool}.exe", windows_path(self.printed), *arguments]
        return self.start(command=command, stdin=subprocess.PIPE, text=True)

    def tell(self, wizard, *lines):
        for line in lines:
            print(line, file=wizard.process.stdin, flush=True)

    def expect_failure(self, wizard, message=NO_DRIVER):
        wizard.open_adapters()
        self.assertEqual(wizard.answer_message_box(), (SEARCH_ERROR, f"[ERROR]: {message}"))

    def test_debug_output_and_report_reach_the_console(self):
        self.prepare("two-cards-empty", API_LIBRARY_WITHOUT_182, kernel=REFUSAL)
        wizard = self.start_by("console_reader", PROGRAM)
        self.expect_failure(wizard, NO_INFORMATION)
        self.assertEqual(wizard.observed("resources")["closed standard handles"], 0)
        self.assertEqual(wizard.cancel(), 0)
        lines = self.printed.read_text().splitlines()
        first = lines.index(f"02 {ORDINAL_MISSING}")
        coloured = [f"{colour} {line}" for colour, line in zip(["0C", "0C", "02"], REPORT)]
        self.assertEqual(lines[first + 1 : first + 4], coloured)
        self.assertIn(f'errorText(0x0000007F, "{SYSTEM_INFORMATION}", 0)', self.kernel_calls())
        self.assertEqual(self.kernel_calls()[-1], CLOSE_DRIVER_CALL)

    def test_debug_output_reaches_a_debugger_where_no_console_shows_it(self):
        self.prepare("no-driver-saved")
        for console in [], ["console"]:
            with self.subTest(console):
                wizard = self.start_by("debugger", PROGRAM, *console)
                for _ in range(2):
                    wizard.open_adapters()
                    box = "Orvanta not found. Please install the Orvanta drivers."
                    self.assertEqual(wizard.answer_message_box(), (SEARCH_ERROR, box))
                    wizard.press_keys("alt+b")
                self.assertEqual(wizard.cancel(), 0)
                # One visit looks for the driver three times at most.
                self.assertGreater(self.printed.read_text().count(DRIVER_MISSING), 3)
                self.assertEqual(self.kernel_calls(), [])

    def test_neither_keys_nor_closing_the_console_end_the_program(self):
        self.prepare("slow-kernel")
        wizard = self.start_by("console_reader", PROGRAM)
        wizard.wait_for_page(INTRODUCTION_PAGE)
        wizard.press_keys("Return")
        wait_for(self.kernel_calls, "the driver to be opened")
        self.tell(wizard, "Ctrl+C", "Ctrl+Break", "close")
        wait_for(lambda: wizard.page() == ADAPTER_PAGE and not wizard.is_searching(),
                 "the search to end")
        self.assertEqual(wizard.texts(AVAILABLE), TWO_CARDS[1:2])
        self.assertEqual(wizard.cancel(), 0)
        self.assertEqual(self.kernel_calls()[-1], CLOSE_DRIVER_CALL)

    def test_the_command_prompt_redirects_and_waits(self):
        self.prepare("two-cards-empty", API_LIBRARY_WITHOUT_182, kernel=REFUSAL)
        wizard = self.start_by("console_reader")
        program = "OrvantaConfigurator.exe"
        self.tell(wizard, f"cd /d {windows_path(self.program_folder)}")
        self.tell(wizard, f"{program} > report.txt 2> debug.txt", "echo back > back.txt")
        wait_for((self.program_folder / "back.txt").exists, "the prompt to come back")
        self.expect_failure(wizard, NO_INFORMATION)
        # The program still runs.
        report = (self.program_folder / "report.txt").read_bytes().decode()
        self.assertEqual(report.split("\r\n"), [*REPORT, ""])
        self.assertIn(ORDINAL_MISSING, (self.program_folder / "debug.txt").read_text())
        wizard.click_button("Cancel")
        wait_for(lambda: not wizard.is_on_screen(), "the wizard to close")

        self.tell(wizard, f"start /wait {program}", "echo ended > ended.txt", "exit")
        self.expect_failure(wizard, NO_INFORMATION)
        self.assertFalse((self.program_folder / "ended.txt").exists())
        self.assertEqual(wizard.cancel(), 0)
        self.assertTrue((self.program_folder / "ended.txt").exists())

    def test_only_an_administrators_process_distrusts_junctions(self):
        self.prepare("two-cards-empty")
        # Wine says that it does not do it: 16 is the redirection trust policy.
        refusal = "SetProcessMitigationPolicy (16, "
        for starter, refusals in ([], 1), ([TOOLS / "unelevated.exe"], 0):
            with self.subTest(starter):
                variables = {"WINEDEBUG": "-all,fixme+process"}
                wizard = self.start(command=[*starter, PROGRAM], variables=variables)
                wizard.wait_for_page(INTRODUCTION_PAGE)
                self.assertEqual(wizard.cancel(), 0)
                self.assertEqual(self.messages_file.read_text().count(refusal), refusals)

    def plant(self, folder):
        """Puts libraries that leave a mark into a folder, under every name that the program loads
        from elsewhere, also as Qt would look for its plugins."""
        names = [file.relative_to(self.program_folder) for file in self.program_folder.rglob("*.dll")]
        self.assertIn(pathlib.Path("platforms/qwindows.dll"), names)
        names.append(pathlib.Path("Brelvix.dll"))
        for name in [*names, *("plugins" / name for name in names)]:
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(TOOLS / "Planted.dll", folder / name)

    def test_only_the_machines_path_leads_to_libraries(self):
        self.prepare("two-cards-empty", api_library=False)
        planted, maker = self.folder / "planted", self.folder / "maker" / "bin"
        maker.mkdir(parents=True)
        os.link(API_LIBRARY, maker / "Brelvix.dll")
        for folder in self.folder, planted:
            self.plant(folder)
        lure = windows_path(planted)
        self.pc.add_to_registry("user", "Environment", PATH=lure, LURE=lure)
        refused = f".;planted;{lure[2:]};\\\\?\\{lure};\\\\.\\{lure};%LURE%;{lure}%LURE%"
        path = f"%SystemRoot%\\system32;{refused};%MAKER%\\bin;{lure}"
        self.pc.add_to_registry("system", MACHINE, PATH=path, MAKER=windows_path(maker.parent))
        # A plugin of other software, which is built for a Qt of its own.
        plugin = planted / "platforms" / "qwindows.dll"
        own = (self.program_folder / "platforms" / plugin.name).read_bytes()
        plugin.write_bytes(own.replace(b"Qt6Gui.dll", b"Qt0Gui.dll"))
        mark = self.folder / "mark"
        variables = {
            "ORVANTA_PLANTED_MARK": windows_path(mark),
            "WINEPATH": lure,
            "QT_PLUGIN_PATH": lure,
            "QT_QPA_PLATFORM_PLUGIN_PATH": windows_path(plugin.parent),
            "QT_DEBUG_PLUGINS": "1",
        }
        wizard = self.start(variables=variables)
        wizard.open_adapters()
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        self.assertEqual(wizard.cancel(), 0)
        self.assertFalse(mark.exists())
        # Qt tells in which folders it has looked.
        looked_for = self.messages_file.read_text()
        self.assertIn("Orvanta Configurator/platforms", looked_for)
        self.assertNotIn("planted", looked_for)

        # The same libraries are loaded by a program that takes them from there.
        command = ["rundll32", "Qt6Core.dll,Planted"]
        self.pc.start(command, variables=variables, cwd=self.folder).wait()
        self.assertTrue(mark.exists())

    def test_a_missing_library_is_looked_for_again(self):
        self.prepare("two-cards-empty", api_library=False)
        other, maker = self.folder / "other", self.folder / "maker"
        path = f"%SystemRoot%;{windows_path(other)};{windows_path(maker)}"
        self.pc.add_to_registry("system", MACHINE, PATH=path)
        wizard = self.start()
        self.expect_failure(wizard)
        line = f"  {OPEN_DRIVER}: {NO_DRIVER}: Error running command {OPEN_DRIVER}"
        report = self.output_file.read_bytes().decode()
        self.assertEqual(report.split("\r\n"), ["ERROR (0000007E = '') -", line, ""])
        wizard.press_keys("alt+b")

        # The first one that is found is of 32 bit, the second one lacks an operation.
        other.mkdir()
        library = pefile.PE(API_LIBRARY)
        library.FILE_HEADER.Machine = pefile.MACHINE_TYPE["IMAGE_FILE_MACHINE_I386"]
        library.write(other / "Brelvix.dll")
        maker.mkdir()
        os.link(API_LIBRARY_WITHOUT_182, maker / "Brelvix.dll")
        self.expect_failure(wizard, NO_INFORMATION)
        wizard.press_keys("alt+b")

        # That one stays until the program is started again.
        (maker / "Brelvix.dll").unlink()
        os.link(API_LIBRARY, maker / "Brelvix.dll")
        self.expect_failure(wizard, NO_INFORMATION)
        self.assertEqual(wizard.cancel(), 0)
        wrong_kind = LIBRARY_MISSING.replace("Brelvix", windows_path(other / "Brelvix"))
        for message in LIBRARY_MISSING, wrong_kind.replace("126", "193"), ORDINAL_MISSING:
            self.assertEqual(self.messages_file.read_text().count(message), 1, message)

        wizard = self.start_at_adapters()
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        self.assertEqual(wizard.cancel(), 0)


if __name__ == "__main__":
    unittest.main()
