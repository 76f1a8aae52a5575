#!/usr/bin/env bash
# Runs the test programs of a finished build (default build/) under
# valgrind's memory checker: an invalid read or write, a use of uninitialised
# memory or a leak fails the program. Each GoogleTest program runs once with
# all its cases, the fuzz replay programs on their seeds and reproducers, in
# the working directory and environment ctest gives them; scripted checks
# (bash) are left to ctest. The demo program, which the pipeline test starts
# as a child (valgrind does not follow children), also runs once under the
# checker on a short scene. Logs: <build>/memcheck/.
#
#   scripts/memcheck.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
bash scripts/deps.sh valgrind python3

mkdir -p "$dir/memcheck"
(cd "$dir" && ctest --show-only=json-v1) >"$dir/memcheck/tests.json"
python3 - "$dir" "$(nproc 2>/dev/null || echo 2)" <<'PY'
import json, os, subprocess, sys, time
from concurrent.futures import ThreadPoolExecutor

build = os.path.abspath(sys.argv[1])
jobs = int(sys.argv[2])
logs = os.path.join(build, 'memcheck')
valgrind = ['valgrind', '--error-exitcode=1', '--leak-check=full', '--quiet']

# Programs that replace operator new and delete to count allocations: valgrind
# replaces them in turn, so the counts and pairings would be its own.
own_allocator = {'test_tracker_allocations'}
runs = {}  # program -> (argv, cwd, env)
for t in json.load(open(os.path.join(logs, 'tests.json')))['tests']:
    cmd = t.get('command') or []
    if not cmd or not cmd[0].startswith(build + '/'):
        continue  # a script, not one of our programs
    if os.path.basename(cmd[0]) in own_allocator:
        continue
    props = {p['name']: p['value'] for p in t.get('properties', [])}
    env = dict(os.environ)
    for kv in props.get('ENVIRONMENT', []):
        k, _, v = kv.partition('=')
        env[k] = v
    args = [a for a in cmd[1:] if not a.startswith('--gtest_')]
    runs.setdefault(cmd[0], (cmd[:1] + args, props.get('WORKING_DIRECTORY', build), env))
demo = os.path.join(build, 'apps', 'qevo_pipeline', 'qevo_pipeline')
if os.path.exists(demo):
    out = os.path.join(logs, 'demo')
    runs[demo] = ([demo, '--scene-frames', '60', '--size', '640x360', '--every', '30',
                   '--no-progress', '--out', out], logs, dict(os.environ))

def check(item):
    prog, (argv, cwd, env) = item
    log = os.path.join(logs, os.path.basename(prog) + '.log')
    start = time.time()
    with open(log, 'w') as f:
        # The program's own report (a failed assertion) goes to the log too.
        rc = subprocess.call(valgrind + ['--log-fd=2'] + argv, cwd=cwd, env=env,
                             stdout=f, stderr=subprocess.STDOUT)
    return prog, rc, time.time() - start, log

failed = 0
with ThreadPoolExecutor(max_workers=jobs) as pool:
    for prog, rc, secs, log in pool.map(check, sorted(runs.items())):
        name = os.path.basename(prog)
        print('%-4s %-28s %6.1f s' % ('ok' if rc == 0 else 'FAIL', name, secs), flush=True)
        if rc != 0:
            failed += 1
            sys.stdout.write(''.join(open(log).readlines()[-60:]))
print('memcheck: %d programs, %d failed' % (len(runs), failed))
sys.exit(1 if failed else 0)
PY
