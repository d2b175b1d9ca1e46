# Reads the outputs that have the names of the arguments with suffixes, and compares them with one another.
import csv, json, re, sqlite3, sys

csv.field_size_limit(1 << 30)
for name in sys.argv[1:]:
    with open(name + '.csv', encoding='utf-8', newline='') as f:
        rows = list(csv.DictReader(f, strict=True))
    with open(name + '.jsonl', encoding='utf-8', newline='') as f:
        objects = [json.loads(line) for line in f.read().split('\n')[:-1]]
    table = sqlite3.connect(name + '.db').execute(
        'SELECT time_us, id, dlc, data, note FROM messages ORDER BY number').fetchall()
    assert len(rows) == len(objects) == len(table), (name, len(rows), len(objects), len(table))
    for i, (row, o, record) in enumerate(zip(rows, objects, table)):
        note = o.get('note')
        assert record[4] == note, (name, i)
        assert row['note'] == (note or '').replace('\0', '\ufffd'), (name, i)
        assert o['id'] == record[1] == (int(row['id'], 16) if row['id'] else None), (name, i)
        assert o['dlc'] == record[2] == int(row['dlc']), (name, i)
        assert bytes.fromhex(o['data']) == record[3] == bytes.fromhex(row['data']), (name, i)
    for suffix in ('.asc', '.trc', '.log'):
        with open(name + suffix, encoding='utf-8', newline='') as f:
            text = f.read()
        assert not any(c < ' ' or '\x7f' <= c < '\xa0' for c in text if c != '\n'), name + suffix
        assert not re.search('[\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]', text), name + suffix
print(len(sys.argv) - 1)
