#!/usr/bin/python3
"""The console that the shipped program was started from, and where it finds the kernel library."""

import os
import shutil
import subprocess
import unittest

import end_to_end
from end_to_end import AVAILABLE, BUILD, KERNEL_LIBRARY, OPEN_DRIVER, TWO_CARDS
from waiting import wait_for
from wine_pc import registry_text, windows_path

TOOLS = BUILD / "tests" / "windows"
DRIVER_MISSING = "OrvantaConfig::isOrvantaInstalled(): Orvanta driver not found."
LIBRARY_MISSING = "platform::kernelApi(): Brelvix.dll cannot be loaded, error 126."
NO_DRIVER = "Unable to open the driver!"
MACHINE = ("system", "System\\\\CurrentControlSet\\\\Control\\\\Session Manager\\\\Environment")
USER = ("user", "Environment")


class ConsoleAndLibrary(end_to_end.EndToEnd):
    def start_by(self, tool, *programs):
        """Starts a program by a tool that notes what it prints."""
        self.printed = self.folder / "printed.txt"
        command = [TOOLS / f"{tool}.exe", *map(windows_path, [self.printed, *programs])]
        return self.start(command=command, stdin=subprocess.PIPE, text=True)

    @property
    def program(self):
        return self.program_folder / "OrvantaConfigurator.exe"

    def tell(self, wizard, *lines):
        for line in lines:
            print(line, file=wizard.process.stdin, flush=True)

    def expect_failure(self, wizard, message=NO_DRIVER):
        wizard.open_adapters()
        box = "Orvanta Search Error", f"[ERROR]: {message}"
        self.assertEqual(wizard.answer_message_box(), box)

    def set_variables(self, place, **values):
        """Writes variables into the machine's or the user's environment."""
        file, key = place
        with open(self.pc.prefix / f"{file}.reg", "a", encoding="ascii") as registry:
            registry.write(f"\n[{key}] 0\n")
            for name, value in values.items():
                registry.write(f'"{name}"=str(2):"{registry_text(value)}"\n')

    def test_debug_output_and_report_reach_the_console(self):
        self.prepare("two-cards-empty", kernel_library=False)
        wizard = self.start_by("console_reader", self.program)
        self.expect_failure(wizard)
        self.assertEqual(wizard.cancel(), 0)
        lines = self.printed.read_text().splitlines()
        first = lines.index(f"02 {LIBRARY_MISSING}")
        self.assertEqual(lines[first + 1], "0C ERROR (0000007E = '') -")

    def test_debug_output_reaches_a_debugger_where_there_is_no_console(self):
        self.prepare("no-driver-saved")
        wizard = self.start_by("debugger", self.program)
        wizard.open_adapters()
        wizard.answer_message_box()
        self.assertEqual(wizard.cancel(), 0)
        self.assertIn(DRIVER_MISSING, self.printed.read_text())

    def check_survival(self, *events):
        """Has events happen in the console while the kernel session is open."""
        self.prepare("slow-kernel")
        wizard = self.start_by("console_reader", self.program)
        wizard.wait_for_page(0)
        wizard.press_keys("Return")
        wait_for(self.kernel_calls, "the driver to be opened")
        self.tell(wizard, *events)
        wait_for(lambda: wizard.page() == 1 and not wizard.is_searching(), "the search to end")
        self.assertEqual(wizard.texts(AVAILABLE), TWO_CARDS[1:2])
        self.assertEqual(wizard.cancel(), 0)
        self.assertEqual(self.kernel_calls()[-1], "closeDriver()")

    def test_keys_of_the_console_do_not_end_the_program(self):
        self.check_survival("Ctrl+C", "Ctrl+Break")

    def test_closing_the_console_does_not_end_the_program(self):
        self.check_survival("close")

    def test_the_command_prompt_redirects_and_waits(self):
        self.prepare("two-cards-empty", kernel_library=False)
        wizard = self.start_by("console_reader")
        program = "OrvantaConfigurator.exe"
        self.tell(wizard, f"cd /d {windows_path(self.program_folder)}")
        self.tell(wizard, f"{program} > report.txt 2> debug.txt", "echo back > back.txt")
        wait_for((self.program_folder / "back.txt").exists, "the prompt to come back")
        self.expect_failure(wizard)
        wizard.click_button("Cancel")
        printed = self.program_folder / "report.txt"
        wait_for(lambda: printed.read_bytes(), "the report")
        self.assertEqual(
            printed.read_text(),
            "ERROR (0000007E = '') -\n"
            f"  {OPEN_DRIVER}: {NO_DRIVER}: Error running command {OPEN_DRIVER}\n",
        )
        self.assertIn(LIBRARY_MISSING, (self.program_folder / "debug.txt").read_text())

        self.tell(wizard, f"start /wait {program}", "echo ended > ended.txt", "exit")
        self.expect_failure(wizard)
        self.assertFalse((self.program_folder / "ended.txt").exists())
        self.assertEqual(wizard.cancel(), 0)
        self.assertTrue((self.program_folder / "ended.txt").exists())

    def test_the_kernel_library_is_found_on_the_machines_path_only(self):
        self.prepare("two-cards-empty", kernel_library=False)
        planted, maker = self.folder / "planted", self.folder / "maker" / "bin"
        maker.mkdir(parents=True)
        os.link(KERNEL_LIBRARY, maker / "Brelvix.dll")
        for folder in self.folder, planted:
            folder.mkdir(exist_ok=True)
            shutil.copyfile(TOOLS / "Planted.dll", folder / "Brelvix.dll")
        lure = windows_path(planted)
        self.set_variables(USER, PATH=lure, LURE=lure)
        refused = f".;planted;{lure[2:]};\\\\?\\{lure};\\\\.\\{lure};%LURE%;{lure}%LURE%"
        self.set_variables(
            MACHINE,
            PATH=f"%SystemRoot%\\system32;{refused};%MAKER%\\bin;{lure}",
            MAKER=windows_path(maker.parent),
        )
        mark = self.folder / "mark"
        variables = {"ORVANTA_PLANTED_MARK": windows_path(mark), "WINEPATH": lure}
        wizard = self.start(variables=variables)
        wizard.open_adapters()
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        self.assertEqual(wizard.cancel(), 0)
        self.assertFalse(mark.exists())

    def test_what_was_missing_is_looked_for_again(self):
        self.prepare("two-cards-empty", kernel_library=False)
        maker = self.folder / "maker"
        self.set_variables(MACHINE, PATH=f"%SystemRoot%;{windows_path(maker)}")
        wizard = self.start()
        self.expect_failure(wizard)
        wizard.press_keys("alt+b")

        maker.mkdir()
        os.link(end_to_end.KERNEL_LIBRARY_WITHOUT_182, maker / "Brelvix.dll")
        self.expect_failure(wizard, "Could not get system information")
        wizard.press_keys("alt+b")

        (maker / "Brelvix.dll").unlink()
        os.link(KERNEL_LIBRARY, maker / "Brelvix.dll")
        wizard.open_adapters()
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        self.assertEqual(wizard.cancel(), 0)
        self.assertEqual(self.messages().count(LIBRARY_MISSING), 1)


if __name__ == "__main__":
    unittest.main()
