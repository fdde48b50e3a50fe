#!/usr/bin/env python3
"""Phases of an install, read off its run log as the lines appear.

    install_phases.py watch LOG     prints the Unix time at which each marking line first
                                    appeared; ends with the run's last line. Creates
                                    LOG.watched once it watches.
    install_phases.py report RUNS   the table of a bench run (lines "<program> <MiB> <seconds>
                                    <peak bytes> <start> <stamps...>", and "context <MiB> <seconds>");
                                    the first program named is the installer, the second its floor
The installer and its floor write the same marking lines at the same points of their work.
"""
import os, statistics, sys, time

MARKS = ['==== launcher run start', 'download: attempt 1 of 2', 'winhttp: download complete', 'sha256: OK',
         'tar: exit code', '==== launcher run end']
PHASES = ['start', 'version check', 'download', 'digest', 'unpacking', 'finish']
TARGETS = {'download': 1.05, 'whole install': 1.1}


def watch(log):
    start, stamps, seen = time.time(), [], 0
    open(log + '.watched', 'w').close()
    while len(stamps) < len(MARKS) and time.time() - start < 900:
        try:
            with open(log, 'rb') as stream:
                stream.seek(seen)
                text = stream.read()
        except OSError:
            text = b''
        now = time.time()
        complete = text[:text.rfind(b'\n') + 1]
        seen += len(complete)
        for line in complete.decode('latin-1').splitlines():
            if len(stamps) < len(MARKS) and line[22:].startswith(MARKS[len(stamps)]):
                stamps.append(now)
        time.sleep(0.002)
    print(' '.join(f'{stamp:.4f}' for stamp in stamps))


def report(runs_file):
    runs, context, programs_seen = {}, {}, []
    for fields in (line.split() for line in open(runs_file)):
        if fields[0] == 'context':
            context[int(fields[1])] = float(fields[2])
            continue
        program, mib, seconds, peak, stamps = fields[0], int(fields[1]), float(fields[2]), int(fields[3]), fields[4:]
        programs_seen += [program] if program not in programs_seen else []
        if len(stamps) != len(MARKS) + 1:
            sys.exit(f'{program}: a run log without every marking line: {stamps}')
        stamps = [float(stamp) for stamp in stamps]
        phases = [b - a for a, b in zip(stamps, stamps[1:])] + [seconds]
        runs.setdefault(mib, {}).setdefault(program, []).append((phases, peak))
    met, costs = True, {}
    for mib, programs in sorted(runs.items()):
        installer, floor = (programs[name] for name in programs_seen)
        print(f'{mib} MiB archive, {len(installer)} runs each, in turn (seconds; best of the runs, median in brackets)')
        print(f'  {"phase":<14} {"installer":>17} {"floor":>17}  ratio of the best')
        for i, phase in enumerate(PHASES + ['whole install']):
            best = [min(run[0][i] for run in program) for program in (installer, floor)]
            median = [statistics.median(run[0][i] for run in program) for program in (installer, floor)]
            ratio = best[0] / best[1] if best[1] > 0 else float('nan')
            target = TARGETS.get(phase)
            verdict = f'  (target <= {target}: {"met" if ratio <= target else "MISSED"})' if target else ''
            met = met and (not target or ratio <= target)
            print(f'  {phase:<14} {best[0]:7.3f} ({median[0]:7.3f}) {best[1]:7.3f} ({median[1]:7.3f})  {ratio:5.2f}x{verdict}')
        peaks = [max(run[1] for run in program) / 1048576 for program in (installer, floor)]
        print(f'  peak working set: installer {peaks[0]:.1f} MiB, floor {peaks[1]:.1f} MiB')
        costs[mib] = [min(run[0][-1] for run in program) * 1024 / mib for program in (installer, floor)]
        print(f'  whole install per GiB: installer {costs[mib][0]:.2f} s, floor {costs[mib][1]:.2f} s')
        if mib in context:
            print(f'  context: curl + openssl dgst + bsdtar on Linux, {context[mib]:.3f} s')
    peaks = {mib: max(run[1] for run in programs[programs_seen[0]]) / 1048576 for mib, programs in runs.items()}
    print('installer peak working set by size: ' + ', '.join(f'{mib} MiB: {peak:.1f} MiB' for mib, peak in sorted(peaks.items())))
    print('installer seconds per GiB by size: ' + ', '.join(f'{mib} MiB: {cost[0]:.2f}' for mib, cost in sorted(costs.items())))
    return met


if __name__ == '__main__':
    if sys.argv[1] == 'watch':
        watch(sys.argv[2])
    else:
        sys.exit(0 if report(sys.argv[2]) else 3)
