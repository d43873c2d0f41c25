#!/usr/bin/env python3
"""Compares the unicast membership lists of several hosts.

    unicast_audit.py NAME=STATE NAME=STATE...

NAME is a host's name in the lists, STATE its state file. A process uses one host until it ends, so
this script starts a process for each host (on a real cluster: through a remote shell).

Every host must list the agents of all other hosts, with the same fields. Unicast must be on at all
hosts or at none. Prints one line for each difference. Exit status: 0 no difference; 1 differences;
2 a host could not be queried.
"""

import argparse
import collections
import json
import os
import subprocess
import sys

COLLECT = """
import json, pyquelt
print(json.dumps({"agents": pyquelt.GetUnicastAgents(), "unicast": pyquelt.GetUnicastMode()}))
"""


class Unreachable(Exception):
    """A host could not be queried. The text is the reason."""


def query(name, state):
    """Returns a host's agents, {(uuid, address, port): other fields}, and its unicast mode."""
    process = subprocess.Popen([sys.executable, "-c", COLLECT], stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, env=dict(os.environ, QUELT_HOST_STATE=state))
    out, err = process.communicate()
    if process.returncode != 0:
        lines = err.decode("utf-8", "replace").strip().splitlines()
        raise Unreachable("{}: {}".format(name, lines[-1] if lines else "no answer"))
    answer = json.loads(out.decode("utf-8"))
    agents = {}
    for uuid, listed in answer["agents"].items():
        for agent in listed:
            agents[(uuid, agent.pop("address"), agent.pop("port"))] = agent
    return agents, answer["unicast"]


def agent_text(key):
    return "{0} at {1} port {2}".format(*key)


def compare_agents(lists):
    """Yields a line for each agent that a host does not list or lists with unusual fields."""
    everywhere = sorted(set(key for agents in lists.values() for key in agents))
    for key in everywhere:
        versions = collections.Counter()
        for agents in lists.values():
            if key in agents:
                versions[json.dumps(agents[key], sort_keys=True)] += 1
        # Sorted, so that the choice among equally frequent ones is always the same.
        usual = json.loads(max(sorted(versions), key=versions.get))
        for name, agents in sorted(lists.items()):
            if key not in agents:
                if usual["hostname"] != name:  # a host need not list itself
                    yield "{} does not list {}".format(name, agent_text(key))
                continue
            for field in sorted(usual):
                if agents[key][field] != usual[field]:
                    yield "{} lists {} with {} {!r}, not {!r}".format(
                        name, agent_text(key), field, agents[key][field], usual[field])


def compare_modes(modes):
    """Yields a line if unicast is on at some hosts and off at others."""
    users = sorted(name for name in modes if modes[name])
    others = sorted(name for name in modes if not modes[name])
    if users and others:
        yield "unicast is on at {} and off at {}".format(", ".join(users), ", ".join(others))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("hosts", metavar="NAME=STATE", nargs="+")
    names = [host.partition("=") for host in parser.parse_args().hosts]
    if not all(name and state for name, _, state in names):
        parser.error("expected NAME=STATE for each host")
    lists, modes = {}, {}
    try:
        for name, _, state in names:
            lists[name], modes[name] = query(name, state)
    except Unreachable as error:
        print("unicast_audit: {}".format(error), file=sys.stderr)
        sys.exit(2)
    findings = list(compare_agents(lists)) + list(compare_modes(modes))
    for finding in findings:
        print(finding)
    sys.exit(1 if findings else 0)


if __name__ == "__main__":
    main()
