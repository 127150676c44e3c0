"""What the daemon does on the station's kernel and drivers, watched at the chips' ends of the buses."""
import pathlib
import re
import statistics
import unittest

from kerneltrace import KernelTrace
from picture import frames, save, shows, split_frames
from session import START_LINES, Session

PROJECT = pathlib.Path(__file__).resolve().parents[2]

SET_UP = bytes.fromhex("ae 00 12 40 81 7f a1 a4 a6 a8 3f ad 8a b0 c0 d3 00 d5 f0 d9 f1 da 12 db 34 af")
DARK_FRAME = (bytes(96),) * 8
CONTRAST_STEP_5 = bytes([0x81, 82])
START = [SET_UP, DARK_FRAME, CONTRAST_STEP_5]

# The keys by their pin: code of the event line.
KEYS = {"Call_2": (0, 4), "Talk_2": (1, 3), "Menu": (2, 5), "Talk_1": (3, 1), "Call_1": (4, 2), "Hp_Detect": (5, 99)}
ENCODERS = {0: 7, 1: 8, 2: 6}

# The outputs by their "set" identifier: address of the bank's data register, and the bit.
OUTPUTS = {400: (0x970000, 30), 401: (0x209C000, 9), 402: (0x20A8000, 9), 403: (0x970000, 31)}

# Registers of the LED chip. Each of the output registers has two bits for each of four LEDs.
PWM_0, OUTPUT_0 = 0x02, 0x0C
OUTPUT_OFF, OUTPUT_PWM = 0, 2
GREEN_TALK_1, RED_CALL_2 = 4, 1

# Expected pictures: the sessions on the emulated panel show the same ones.
SCENE_SCRIPT, SCENE = "tests/cases/scene/session", "tests/cases/scene/scene.png"
INVITATION, TEST_ENDED = "docs/pictures/invitation.png", "docs/pictures/ended.png"
CALL_2_PRESSED = "tests/cases/panel_test_keys/Call_2.png"
CALL_2_BOX = (70, 30, 85, 41)  # on the panel test's screen: left, top, right, bottom

SCENARIOS = ["attributes", "buses", "copies", "gpio", "other-forms", "reads", "streams"]

# To reach, in the guest's time.
MOST_RESIDENT_KB = 4096
MOST_START_MS = 300
MOST_KEY_MS = 30


def commands_of(script):
    """What a session script sends."""
    return re.findall(r"^send (.*)$", script.read_text(), re.M)


class Board(unittest.TestCase):
    machine = None  # set by run.py
    artifacts = "."

    def start(self, *options, lines=START_LINES):
        """A session whose start is over."""
        session = self.enterContext(Session(self.machine, *options))
        self.assertEqual(session.lines(len(lines)), lines)
        session.wait_until("the contrast of the start",
                           lambda: session.spi and session.spi[-1].data == CONTRAST_STEP_5)
        return session

    def expect_picture(self, pages, file):
        if not shows(pages, PROJECT / file):
            got = pathlib.Path(self.artifacts) / f"{pathlib.Path(file).stem}.got.png"
            save(pages, got)
            self.fail(f"the display does not show {file} but {got}")

    def press(self, key):
        self.machine.set_pin(KEYS[key][0], True)
        self.addCleanup(self.machine.set_pin, KEYS[key][0], False)

    def release(self, key):
        self.machine.set_pin(KEYS[key][0], False)

    def turn(self, encoder, steps):
        self.machine.run(f"echo {encoder} {steps} >&4")

    def level(self, output):
        address, bit = OUTPUTS[output]
        return self.machine.read_word(address) >> bit & 1

    def levels(self):
        return [self.level(output) for output in OUTPUTS]

    def unbind(self, driver, device):
        """Takes a device from its driver until the end of the test or bind()."""
        self.machine.run(f"echo {device} >/sys/bus/{driver}/unbind")
        self.addCleanup(self.machine.try_run,
                        f"[ -e /sys/bus/{driver}/{device} ] || echo {device} >/sys/bus/{driver}/bind")

    def bind(self, driver, device):
        self.machine.run(f"echo {device} >/sys/bus/{driver}/bind")

    # The start

    def test_start_sets_the_display_up_and_clears_it(self):
        session = self.start()
        self.assertEqual(split_frames(session.spi), START)

    def test_start_switches_every_light_off(self):
        session = self.start()
        for led in range(8):
            self.assertEqual(self.light(session, led), OUTPUT_OFF)

    def test_start_puts_the_outputs_to_their_levels(self):
        self.start()
        self.assertEqual(self.levels(), [0, 0, 1, 1])

    def test_start_reports_a_held_key(self):
        self.press("Talk_2")
        self.start(lines=[line.replace("OnFpKey(3,-1", "OnFpKey(3,1") for line in START_LINES])

    def test_first_frame_is_on_the_bus_in_time(self):
        with KernelTrace(self.machine) as trace:
            self.start()
        started, = trace.times("sched_process_exec")
        pages = trace.times("spi_message_done", "spi3.1")
        self.assertEqual(len(pages), 8)
        self.expect_at_most("start to first frame, ms", (pages[-1] - started) * 1000, MOST_START_MS)

    def test_memory_at_rest_is_small(self):
        session = self.start()
        for command in commands_of(PROJECT / SCENE_SCRIPT):
            session.send(command)
        session.wait_frames(2)
        self.expect_at_most("resident at rest, kB", session.process_status("VmRSS"), MOST_RESIDENT_KB)

    def expect_at_most(self, what, measured, limit):
        print(f"  {what}: {measured:.1f}, at most {limit}")
        self.assertLessEqual(measured, limit, what)

    # Commands

    def test_drawing_is_the_picture_of_the_emulated_panel(self):
        session = self.start()
        session.send(*commands_of(PROJECT / SCENE_SCRIPT))
        self.expect_picture(session.wait_frames(2), SCENE)
        self.assertEqual(len(split_frames(session.spi)), len(START) + 1)

    def test_contrast_is_one_command(self):
        session = self.start()
        session.send("a:set 201 8", "a:set 201 0")
        session.wait_until("two commands", lambda: len(split_frames(session.spi)) == len(START) + 2)
        self.assertEqual(split_frames(session.spi)[len(START):], [bytes([0x81, 175]), bytes([0x81, 4])])

    def test_gain_is_one_word_on_its_own_bus(self):
        session = self.start()
        session.send("a:set 204 40")
        gains = session.wait_until("the gain", lambda: [one.data for one in session.spi if one.device == "4.0"])
        self.assertEqual(gains, [bytes([0, 8])])  # 16 bits, the more significant ones first
        self.assertEqual(split_frames(session.spi), START)

    @staticmethod
    def light(session, led):
        """What drives an LED: nothing, or its pulse width."""
        register = session.led_register(OUTPUT_0 + led // 4)
        return None if register is None else register >> led % 4 * 2 & 3

    def wait_light(self, session, led, output):
        session.wait_until(f"LED {led} at {output}", lambda: self.light(session, led) == output)

    def test_light_is_given_its_brightness(self):
        session = self.start()
        before = len(session.leds)
        session.send("a:set 9 1")
        self.wait_light(session, GREEN_TALK_1, OUTPUT_PWM)
        self.assertEqual(session.leds[before:before + 2], [(PWM_0 + GREEN_TALK_1, 82), (OUTPUT_0 + 1, OUTPUT_PWM)])
        session.send("a:set 559 200")
        session.wait_until("the new level", lambda: session.led_register(PWM_0 + GREEN_TALK_1) == 200)
        session.send("a:set 9 0")
        self.wait_light(session, GREEN_TALK_1, OUTPUT_OFF)

    def test_light_blinks(self):
        session = self.start()
        session.send("a:set 202 200", "a:set 203 100", "a:set 12 4")
        for _ in range(2):
            self.wait_light(session, RED_CALL_2, OUTPUT_PWM)
            self.wait_light(session, RED_CALL_2, OUTPUT_OFF)

    def test_outputs_follow_their_commands(self):
        session = self.start()
        for output in OUTPUTS:
            before = self.levels()
            high = 1 - self.level(output)
            session.send(f"a:set {output} {high}")
            session.wait_until(f"output {output}", lambda: self.level(output) == high)
            self.assertEqual([high if one == output else level for one, level in zip(OUTPUTS, before)], self.levels())

    # Keys and encoders

    def expect_event(self, session, code, event):
        """Takes the next line, which has to be this event; returns its milliseconds."""
        line = session.line()
        match = re.fullmatch(rf"OnFpKey\({code},{event},(\d+)\)", line)
        self.assertTrue(match, line)
        return int(match[1])

    def test_every_key_is_reported(self):
        session = self.start()
        for key, (_, code) in KEYS.items():
            self.press(key)
            self.expect_event(session, code, 1)
            self.release(key)
            self.expect_event(session, code, -1)

    def test_key_is_reported_in_time_with_the_time_between_its_edges(self):
        session = self.start()
        with KernelTrace(self.machine) as trace:
            reported = []
            for _ in range(5):
                self.press("Talk_1")
                reported.append(self.expect_event(session, 1, 1))
                self.release("Talk_1")
                reported.append(self.expect_event(session, 1, -1))
        edges = trace.times("irq_handler_entry")
        lines = trace.times("sys_write")
        self.assertEqual((len(edges), len(lines)), (10, 10))
        # The driver lets a key settle for 5 ms, and while the guest waits this machine's pauses are its own: the
        # median is not about those.
        taken = statistics.median(line - edge for edge, line in zip(edges, lines))
        self.expect_at_most("key edge to event line, ms", taken * 1000, MOST_KEY_MS)
        for milliseconds, before, line in zip(reported[1:], lines, lines[1:]):
            self.assertAlmostEqual(milliseconds, (line - before) * 1000, delta=5)

    def test_encoders_are_reported(self):
        session = self.start()
        for encoder, code in ENCODERS.items():
            self.turn(encoder, 1)
            self.expect_event(session, code, 2)
            self.turn(encoder, -3)
            self.expect_event(session, code, -2)

    # The panel test

    def test_panel_test_runs_until_the_chord_is_held(self):
        session = self.enterContext(Session(self.machine, "-t"))
        self.expect_picture(session.wait_frames(3), INVITATION)
        self.press("Call_2")
        session.wait_until("the key's box filled",
                           lambda: shows(frames(session.spi)[-1], PROJECT / CALL_2_PRESSED, CALL_2_BOX))
        self.press("Talk_2")
        self.assertEqual(session.end(), 0)
        self.expect_picture(frames(session.spi)[-1], TEST_ENDED)
        self.assertFalse(self.machine.has_output())

    # Devices that are missing

    def test_start_without_the_display_goes_on_and_uses_it_later(self):
        self.unbind("spi/drivers/spidev", "spi3.0")
        session = self.enterContext(Session(self.machine))
        self.assertEqual(session.lines(len(START_LINES)), START_LINES)
        session.send("a:set 9 1")
        self.wait_light(session, GREEN_TALK_1, OUTPUT_PWM)
        self.assertEqual(session.spi, [])
        self.bind("spi/drivers/spidev", "spi3.0")
        session.send(*commands_of(PROJECT / SCENE_SCRIPT))
        self.expect_picture(session.wait_frames(1), SCENE)
        self.assertNotIn(SET_UP, split_frames(session.spi))

    def test_start_without_the_keys_is_logged_and_goes_on(self):
        self.unbind("platform/drivers/gpio-keys", "panel-keys")
        session = self.start()
        self.expect_logged(session, "buttonOpenGrp Error 2: No such file or directory")
        self.turn(0, 1)
        self.expect_event(session, 7, 2)

    def test_keys_that_go_away_are_logged_once(self):
        session = self.start()
        self.unbind("platform/drivers/gpio-keys", "panel-keys")
        session.wait_until("the message", lambda: self.logged(session, "buttonGetGrpData Error 19: No such device"))
        self.turn(0, 1)
        self.expect_event(session, 7, 2)
        self.expect_logged(session, "buttonGetGrpData Error 19: No such device")

    @staticmethod
    def logged(session, text):
        return [line for line in session.system_log() if line.endswith(f"beltpack_fpui: {text}")]

    def expect_logged(self, session, text):
        """Exactly once."""
        self.assertEqual(len(self.logged(session, text)), 1, session.system_log())

    # The end

    def test_end_of_input_leaves_everything_off(self):
        session = self.start()
        session.send("g:rect 0 0 0 50 50 white white", "g:flush 0", "a:set 9 1", "a:set 400 1")
        session.wait_frames(2)
        self.wait_light(session, GREEN_TALK_1, OUTPUT_PWM)
        self.assertEqual(session.end(), 0)
        self.assertEqual(split_frames(session.spi)[-2:], [DARK_FRAME, CONTRAST_STEP_5])
        self.assertEqual(self.light(session, GREEN_TALK_1), OUTPUT_OFF)
        self.assertEqual(self.machine.run("ls -d /sys/class/gpio/gpio[0-9]* 2>/dev/null || true"), [])
        self.assertEqual(self.levels(), [1, 0, 1, 1])  # a reset line that fell would restart its chip
        self.assertFalse(self.machine.has_output())

    # The emulated panel

    def test_kernel_answers_as_the_emulated_panel_does(self):
        # A line keeps its direction when it is given back, and the scenario begins with an input.
        gpio = "/sys/class/gpio"
        self.machine.run(f"echo 9 >{gpio}/export; echo in >{gpio}/gpio9/direction; echo 9 >{gpio}/unexport")
        self.addCleanup(self.machine.run, f"echo 9 >{gpio}/unexport")
        for scenario in SCENARIOS:
            with self.subTest(scenario):
                self.assertEqual(self.machine.try_run(f"shim_probe {scenario}"), (0, []))
