#!/usr/bin/env python3
"""ksdiag.exe's JSON output read by an independent parser (Python's json module).

Runs ksdiag.exe under Wine on every sample log of tests/data/etl (VIEW /all /format:json)
and on the logs json_fixture_logs writes (a product log and a log of hostile texts), and
checks:
- standard output holds nothing but JSON Lines, each one object that the parser accepts
  strictly (no NaN or Infinity literals, no duplicate keys), standard error is empty;
- a sample gives one line per record outside its header buffer (FIGURES.md) plus the
  records of the header buffer, which the built-in reader also delivers: the log file header
  event and the EventTrace records that follow it there; the events per provider, id and
  version are FIGURES.md's; times never go backwards;
- a few TraceLogging fields against the bytes of their files;
- the product log and the product's sample log (samples/): the JSON and the text view
  describe the same events (count, times, process and thread ids, terminal sessions,
  level names, texts, messages);
- the hostile log: every text arrives as the characters it was, unpaired surrogates and
  bytes that are not UTF-8 as U+FFFD.
Exit code 0 when every check passed; prints "N passed, N failed".
"""

import argparse
import collections
import json
import os
import re
import subprocess
import sys

EVENT_TRACE_CLASS = "{68FDD900-4A3E-11D1-84F4-0000F80464E3}"
PRODUCT = "{6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}"

# From FIGURES.md: records outside the header buffer, and the events per (provider, id,
# version) it lists. HEADER_RECORDS: the header buffer's records (header event included),
# counted by hand from each file's first buffer.
SAMPLES = {
    "AMSITrace.etl": (19, 2, {("{8E805EB3-6A8F-4A1E-90FA-A831D94E54A1}", 0, 0): 19}),
    "KernelProcess-Win7.etl": (10343, 1, {
        ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 1, 0): 4, ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 2, 1): 4,
        ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 3, 1): 287, ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 4, 1): 264,
        ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 5, 0): 1115, ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 6, 0): 1153,
        ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 7, 0): 810, ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 8, 0): 5088,
        ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 9, 0): 838, ("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 10, 0): 780}),
    "SelfDescribingSingleEvent.etl": (21, 2, {("{A61EA624-4944-55FC-C2A8-37838829438D}", 3, 0): 1}),
    "ShutdownPerfDiagLogger.etl": (17075, 3, {}),
    "lxcore_kernel.etl": (2, 2, {("{0CD1C309-0878-4515-83DB-749843B3F5C9}", 0, 0): 2}),
    "powershell.etl": (112, 2, {
        ("{A0C1853B-5C40-4B15-8766-3CF1C58F985A}", 7937, 1): 101, ("{A0C1853B-5C40-4B15-8766-3CF1C58F985A}", 7938, 1): 1,
        ("{A0C1853B-5C40-4B15-8766-3CF1C58F985A}", 7939, 1): 6, ("{A0C1853B-5C40-4B15-8766-3CF1C58F985A}", 7942, 1): 1,
        ("{A0C1853B-5C40-4B15-8766-3CF1C58F985A}", 40961, 1): 1, ("{A0C1853B-5C40-4B15-8766-3CF1C58F985A}", 40962, 1): 1,
        ("{A0C1853B-5C40-4B15-8766-3CF1C58F985A}", 53504, 1): 1}),
    "smallEtlFile.etl": (1, 1, {("{A669021C-C450-4609-A035-5AF59AF4DF18}", 154, 2): 1}),
    "test_data_32_v0.etl": (26, 1, {}),
}

# TraceLogging fields, checked by hand against the bytes of the files: the metadata names
# them, the user data holds these values (Line 10528 is the bytes 20 29 00 00 after the
# function's name; the AMSI "Raw Script" is a counted UInt16 array marked as a string).
TRACELOGGING = {
    "lxcore_kernel.etl": (2, {"ErrorLevel": 2, "instanceId": "{00000000-0000-0000-0000-000000000000}", "LxPid": -1,
                              "LxTid": -1, "LxNs": 0, "ExecutablePath": "", "Function": "LxpDrvFsTypeMount",
                              "Line": 10528,
                              "Message": "Failed to open volume C:\\WINDOWS\\system32\\lxss\\tools, result -2\n"}),
    "AMSITrace.etl": (3, {"Engine": "PowerShell_C:\\Windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe_10.0.18362.1",
                          "Script": "Get-Alias", "Raw Script": "Get-Alias"}),
    "SelfDescribingSingleEvent.etl": (16, {"a": {"b": "Hello", "c": "World!"}}),
}

results = collections.Counter()


def check(condition, what):
    results["passed" if condition else "failed"] += 1
    if not condition:
        print("FAILED: " + what, file=sys.stderr)
    return condition


def reject_constant(name):
    raise ValueError("not JSON: " + name)


def unique_keys(pairs):
    keys = [key for key, _ in pairs]
    if len(keys) != len(set(keys)):
        raise ValueError("duplicate key")
    return dict(pairs)


def windows_path(path):
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def run(args, arguments):
    environment = dict(os.environ, TZ="UTC")
    completed = subprocess.run([args.wine_run, args.ksdiag] + arguments, capture_output=True, env=environment,
                               timeout=600)
    return completed.returncode, completed.stdout, completed.stderr


def json_lines(name, out):
    """Every line of standard output parsed; None when one is not JSON."""
    text = out.decode("utf-8")  # strict: the output is UTF-8 or the check fails here
    lines = text.split("\r\n")
    check(lines[-1] == "", name + ": output ends with a line break")
    objects = []
    for number, line in enumerate(lines[:-1], 1):
        try:
            value = json.loads(line, parse_constant=reject_constant, object_pairs_hook=unique_keys)
        except ValueError as error:
            check(False, "%s line %d is not JSON (%s): %r" % (name, number, error, line[:200]))
            return None
        if not check(isinstance(value, dict), "%s line %d is an object" % (name, number)):
            return None
        objects.append(value)
    return objects


def view_json(args, path, extra):
    code, out, err = run(args, ["VIEW", "/format:json", "/level:debug", "/nologo", "/reader:builtin",
                                "/file:" + windows_path(path)] + extra)
    name = os.path.basename(path)
    check(code == 0, name + ": exit code 0, not %d" % code)
    check(err == b"", name + ": nothing on standard error: %r" % err[:200])
    return json_lines(name, out)


def check_sample(args, name):
    outside, header, per_event = SAMPLES[name]
    objects = view_json(args, os.path.join(args.samples, name), ["/all"])
    if objects is None:
        return
    check(len(objects) == outside + header,
          "%s: %d lines, FIGURES.md's %d and %d of the header buffer" % (name, len(objects), outside, header))
    check(all(o["provider"]["guid"] == EVENT_TRACE_CLASS for o in objects[:header]),
          name + ": the first lines are the header buffer's EventTrace records")
    times = [o["time"] for o in objects]
    check(all(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{7}Z", t) for t in times), name + ": ISO 8601 times")
    check(times == sorted(times), name + ": times never go backwards")
    counts = collections.Counter((o["provider"]["guid"], o["id"], o["version"]) for o in objects)
    for key, count in per_event.items():
        check(counts[key] == count, "%s: %s has %d events, FIGURES.md %d" % (name, key, counts[key], count))
    if name in TRACELOGGING:
        line, properties = TRACELOGGING[name]
        check(objects[line].get("properties") == properties,
              "%s line %d: %r" % (name, line + 1, objects[line].get("properties")))


# The text view's line: time, source(session:pid:tid), the level's name where the event's
# description has one (the product's own levels Enter, Exit and Debug have none), the text.
TEXT_LINE = re.compile(r"^(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}) (.*?)\((?:(\d+):)?(\d+):(\d+)\) (.*)$")


def what_line(line):
    return "product log, " + line


def check_agreement(args, path):
    objects = view_json(args, path, [])
    code, out, err = run(args, ["VIEW", "/level:debug", "/nologo", "/reader:builtin", "/file:" + windows_path(path)])
    check(code == 0 and err == b"", "product log: the text view succeeds")
    lines = out.decode("utf-8").split("\r\n")[:-1]
    if objects is None or not check(len(lines) == len(objects), "product log: %d text lines, %d JSON lines" %
                                    (len(lines), len(objects))):
        return
    check(len(objects) == 20 * (8 + 7), "product log: every event is shown")
    for line, event in zip(lines, objects):
        match = TEXT_LINE.match(line)
        if not check(match is not None, "product log: text line %r" % line):
            continue
        stamp, source, session, pid, tid, rest = match.groups()
        level = event["level"].get("name")
        if level is not None:
            check(rest.startswith(level + " "), what_line(line) + ": level " + level)
            rest = rest[len(level) + 1:]
        body = rest
        properties = event["properties"]
        task = event["task"]
        what = "product log, " + line
        check(event["time"][:23] == stamp.replace(" ", "T"), what + ": time " + event["time"])
        check((event["pid"], event["tid"]) == (int(pid), int(tid)), what + ": pid and tid")
        check(event.get("session") == (int(session) if session else None), what + ": session")
        check(event["provider"] == {"name": "Kestrova-Diagnostics", "guid": PRODUCT}, what + ": provider")
        check(properties["ProcessName"] == source, what + ": source")
        if task == 3:
            check(body == "%s : %s %s" % (properties["Name"], properties["Message"], properties["Arguments"]),
                  what + ": operational text")
            check(event["message"] == properties["Name"], what + ": message %r" % event["message"])
        else:
            text = properties["Message"] if task == 1 else properties["Arguments"]
            check(body == text, what + ": trace text")
            check(event["message"].endswith(":" + text), what + ": message %r" % event["message"])
        if event["id"] == 2006:
            check([frame["address"] for frame in event.get("stack", [])][1:] == ["0x7FF600002000"],
                  what + ": stack")


def check_product_sample(args, path):
    """samples/kestrova-sample.etl: the text view and the JSON describe the same events. The
    text view spreads an error's stack text over the lines after its header and ends a
    fault's line with the minidump it wrote, then an empty line; JSON writes no file."""
    objects = view_json(args, path, [])
    code, out, err = run(args, ["VIEW", "/level:debug", "/nologo", "/reader:builtin", "/file:" + windows_path(path)])
    check(code == 0 and err == b"", "product sample: the text view succeeds")
    events = []
    for line in out.decode("utf-8").split("\r\n")[:-1]:
        match = TEXT_LINE.match(line)
        if match is not None:
            events.append((match.groups(), []))
        elif line and events:
            events[-1][1].append(line)
    # 16 events written; the image event is shown by neither view without /callstack.
    if objects is None or not check(len(events) == len(objects) == 15, "product sample: %d text events, %d JSON "
                                    "lines, 15 to show" % (len(events), len(objects))):
        return
    for (groups, more), event in zip(events, objects):
        stamp, source, session, pid, tid, rest = groups
        what = "product sample, " + stamp + " " + rest
        properties = event["properties"]
        level = event["level"].get("name")
        if level is not None:
            check(rest.startswith(level + " "), what + ": level " + level)
            rest = rest[len(level) + 1:]
        check(event["time"][:23] == stamp.replace(" ", "T"), what + ": time " + event["time"])
        check((event["pid"], event["tid"], event.get("session")) == (int(pid), int(tid), int(session)),
              what + ": session, pid and tid")
        check(properties["ProcessName"] == source, what + ": source")
        if event["task"] == 3:
            check(rest == "%s : %s %s" % (properties["Name"], properties["Message"], properties["Arguments"]),
                  what + ": operational text")
            check(event["message"] == properties["Name"], what + ": message %r" % event["message"])
            stack = properties["Stack"].split("\n") if event["level"]["value"] == 2 else []
            check(more == stack, what + ": stack text %r" % more)
        elif event["id"] == 2021:
            check(rest.startswith("Fault. Minidump written to ") and rest.endswith(".dmp"), what + ": fault")
            check(event["message"] == "fault:" + properties["ProcessName"], what + ": message")
            check(len(properties["debug"]) > 0, what + ": the minidump's text")
        else:
            text = properties["Message"] if event["task"] == 1 else properties["Arguments"]
            check(rest == text and event["message"].endswith(":" + text), what + ": trace text")


def check_hostile(args, path):
    objects = view_json(args, path, ["/all"])
    # The header buffer's two EventTrace records, then the six events.
    if objects is None or not check(len(objects) == 8, "hostile log: 8 lines, not %d" % len(objects)):
        return
    controls = "".join(chr(c) for c in range(1, 0x20)) + "\x7f\x80\x9b\x9f\"\\/\x1b[31mred\x1b[0m"
    lone = "a\ufffdb\ufffdc\U0001F600d\ufffd"
    for version, event in ((1, objects[2]), (2, objects[3])):
        check(event["properties"]["Name"] == controls, "hostile v%d: Name %r" % (version, event["properties"]["Name"]))
        check(event["properties"]["Message"] == lone, "hostile v%d: Message %r" % (version,
                                                                                   event["properties"]["Message"]))
        check(event["properties"]["Arguments"] == "\u65e5\u672c \U0001F600", "hostile v%d: Arguments" % version)
    check(objects[4]["properties"]["Name"] == "bad" + "\ufffd" * 9, "hostile: bytes that are not UTF-8: %r" %
          objects[4]["properties"]["Name"])
    check(objects[4]["properties"]["Message"] == "\x1b]0;title\x07", "hostile: an escape sequence")
    check(objects[5]["properties"] == {"ProcessName": controls, "Message": lone}, "hostile: trace event")
    check(objects[6]["properties"]["SubscriberName"] == controls, "hostile: Winlogon subscriber")
    check(objects[7]["decoded"] is False and objects[7]["data"] == "AP8bIlyA", "hostile: unknown provider's data")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--wine-run", required=True)
    parser.add_argument("--ksdiag", required=True)
    parser.add_argument("--fixtures", required=True, help="json_fixture_logs.exe")
    parser.add_argument("--samples", required=True)
    parser.add_argument("--work", required=True)
    parser.add_argument("--product-sample", required=True, help="samples/kestrova-sample.etl")
    args = parser.parse_args()

    os.makedirs(args.work, exist_ok=True)
    written = subprocess.run([args.wine_run, args.fixtures, windows_path(args.work)], timeout=300)
    if check(written.returncode == 0, "json_fixture_logs wrote the logs"):
        check_agreement(args, os.path.join(args.work, "product.etl"))
        check_hostile(args, os.path.join(args.work, "hostile.etl"))
    check_product_sample(args, args.product_sample)
    for name in sorted(SAMPLES):
        check_sample(args, name)
    print("%d passed, %d failed" % (results["passed"], results["failed"]))
    return 0 if results["failed"] == 0 and results["passed"] > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
