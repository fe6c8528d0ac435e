"""Copies a source file with one text replaced: plant_bug.py FROM TO RIGHT WRONG. Fails when RIGHT does not stand there once."""
import pathlib
import sys

source, target, right, wrong = sys.argv[1:]
text = pathlib.Path(source).read_text()
if text.count(right) != 1:
    sys.exit(f'{source} has "{right}" {text.count(right)} times, not once')
changed = text.replace(right, wrong)
path = pathlib.Path(target)
path.parent.mkdir(parents=True, exist_ok=True)
if not path.exists() or path.read_text() != changed:
    path.write_text(changed)
