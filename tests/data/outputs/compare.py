# Reads what the writers made of "expected", which has the note of each message in hexadecimal UTF-16, and compares.
# The rules are those of docs/conversion.md, written anew.
import csv, json, re, sqlite3, sys

csv.field_size_limit(1 << 30)
notes = []
with open('expected') as f:
    for line in f:
        text = bytes.fromhex(line).decode('utf-16-le', 'surrogatepass')
        notes.append(''.join('\ufffd' if 0xD800 <= ord(c) <= 0xDFFF else c for c in text))

def guarded(note):
    note = note.replace('\0', '\ufffd')
    return "'" + note if note[:1] in ('=', '+', '-', '@', '\t', '\r') else note

turning = '\u061c\u200e\u200f\u2028\u2029\u202a\u202b\u202c\u202d\u202e\u2066\u2067\u2068\u2069'
def is_control(c):
    return c < ' ' or '\x7f' <= c < '\xa0' or c in turning

def comment(note):
    # What Qt counts as white space.
    line = re.sub('[\t-\r \x85\xa0\u1680\u2000-\u200a\u2028\u2029\u202f\u205f\u3000]+', ' ', note).strip(' ')
    return ''.join('U+%04X' % ord(c) if is_control(c) else c for c in line)

def read(name):
    with open(name, encoding='utf-8', newline='') as f:
        return f.read()

with open('out.csv', encoding='utf-8', newline='') as f:
    rows = list(csv.DictReader(f, strict=True))
with open('raw.csv', encoding='utf-8', newline='') as f:
    raw_rows = list(csv.DictReader(f, strict=True))
objects = [json.loads(line) for line in read('out.jsonl').split('\n')[:-1]]
database = sqlite3.connect('out.db')
table = database.execute('SELECT time_us, id, dlc, data, note FROM messages ORDER BY number').fetchall()
assert database.execute('PRAGMA integrity_check').fetchall() == [('ok',)]
assert len(rows) == len(raw_rows) == len(objects) == len(table) == len(notes), (len(rows), len(objects), len(table))

for i, note in enumerate(notes):
    row, o, record = rows[i], objects[i], table[i]
    assert row['note'] == guarded(note), (i, 'csv', row['note'][:200], note[:200])
    assert raw_rows[i]['note'] == note.replace('\0', '\ufffd'), (i, 'raw', raw_rows[i]['note'][:200], note[:200])
    assert o.get('note', '') == note and ('note' in o) == (note != ''), (i, 'json', note[:200])
    assert record[4] == (note or None), (i, 'sqlite', note[:200])
    assert round(o['time'] * 1000000) == record[0] == int(row['time'].replace('.', '')), i
    assert o['id'] == record[1] == (int(row['id'], 16) if row['id'] else None), i
    assert o['dlc'] == record[2] == int(row['dlc']), i
    assert bytes.fromhex(o['data']) == record[3] == bytes.fromhex(row['data']), i

wanted = [comment(note) for note in notes if note]
for name, mark in (('out.asc', '// '), ('out.trc', ';   ')):
    text = read(name)
    assert not any(is_control(c) for c in text if c != '\n'), name
    lines = text.split('\n')[:-1]
    if name == 'out.trc':
        lines = lines[10:] # behind its head, which is of comments, too
    found = [line[len(mark):] for line in lines if line.startswith(mark)]
    if name == 'out.asc':
        wanted_here = [re.sub('End TriggerBlock', 'End_TriggerBlock', w) for w in wanted]
    else:
        wanted_here = wanted
    assert len(found) == len(wanted_here), (name, len(found), len(wanted_here))
    for i in range(len(found)):
        assert found[i] == wanted_here[i], (name, i, found[i][:200], wanted_here[i][:200])
    others = [line for line in lines if not line.startswith(mark)]
    assert len(others) == len(notes) + (5 if name == 'out.asc' else 0), (name, len(others))

for line in read('out.log').split('\n')[:-1]:
    assert re.fullmatch(r'\(\d+\.\d{6}\) can\d+ ([0-9A-F]{3}|[0-9A-F]{8})#(R\d?|(#\d)?([0-9A-F]{2})*)( T)?', line), line
print(len(notes))
