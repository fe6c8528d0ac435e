"""The rules of a trace that a viewer must be able to draw, and what is wrong with one.

A track is a thread of a process. The complete events of a track either nest or do not touch; every track has a name;
curves only rise, and their points come in order of time.
"""
from decimal import Decimal

RISING = {"bytes on the link", "words programmed"}


def nanoseconds(microseconds):
    value = Decimal(str(microseconds)) * 1000
    if value != int(value):
        raise ValueError(f"{microseconds} is no whole number of nanoseconds")
    return int(value)


def complaints(trace):
    events = trace["traceEvents"]
    return [*wrong_kinds(events), *overlaps(events), *nameless_tracks(events), *falling_curves(events)]


def wrong_kinds(events):
    for event in events:
        if event["ph"] not in {"M", "X", "i", "C"}:
            yield f"unknown kind {event['ph']}"
        if event["ph"] in {"X", "i", "C"} and nanoseconds(event["ts"]) < 0:
            yield f"{event['name']} begins before the start"
        if event["ph"] == "X" and nanoseconds(event["dur"]) <= 0:
            yield f"{event['name']} lasts no time"
        if event["ph"] == "i" and event.get("s") != "t":
            yield f"{event['name']} is not of its track"


def overlaps(events):
    tracks = {}
    for event in events:
        if event["ph"] == "X":
            start = nanoseconds(event["ts"])
            tracks.setdefault((event["pid"], event["tid"]), []).append((start, start + nanoseconds(event["dur"]), event["name"]))
    for track, slices in tracks.items():
        around = []  # what the present slice lies in
        for start, end, name in sorted(slices, key=lambda each: (each[0], -each[1])):
            while around and around[-1][0] <= start:
                around.pop()
            if around and end > around[-1][0]:
                yield f"track {track}: {name} from {start} to {end} overlaps {around[-1][1]}, which ends at {around[-1][0]}"
            around.append((end, name))


def nameless_tracks(events):
    named = {(event["pid"], event["tid"]) for event in events if event["ph"] == "M" and event["name"] == "thread_name"}
    for track in {(event["pid"], event["tid"]) for event in events if event["ph"] in {"X", "i"}} - named:
        yield f"track {track} has no name"


def falling_curves(events):
    last = {}
    for event in events:
        if event["ph"] != "C":
            continue
        point = (nanoseconds(event["ts"]), event["args"])
        time, values = last.get(event["name"], (0, {}))
        if point[0] < time:
            yield f"{event['name']} goes back in time at {point[0]}"
        if event["name"] in RISING and any(event["args"].get(key, 0) < value for key, value in values.items()):
            yield f"{event['name']} falls at {point[0]}"
        last[event["name"]] = point
