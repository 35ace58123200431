"""The conversation that the page of the protocol shows is what mosquitto's clients show."""
import re
import subprocess

import contract

PAGE = (contract.FOLDER / "README.md").read_text()
TIME = '"timestamp": 1700000000000'


def shown_lines(listener, count):
    lines = (listener.stdout.readline().rstrip("\n") for _ in range(count))
    return [re.sub(r'"timestamp": \d+', TIME, line) for line in lines]


def test_first_conversation(broker, wifi_manager, start_agent):
    wifi_manager.restart("--still")
    section = PAGE.partition("\n## A first conversation\n")[2].partition("\n## ")[0]
    blocks = re.findall("```console\n(.*?)\n```", section, re.DOTALL)
    listen, *exchanges = [block.split("\n") for block in blocks]
    command = listen[0].removeprefix("$ ")
    command = ["bash", "-c", f"exec {command} -W 30"]  # seconds; then it ends, and no line is there
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as listener:
        broker.wait_subscribed()
        start_agent()
        expected = listen[1:]
        for block in exchanges:
            if block[0].startswith("$ "):
                assert shown_lines(listener, len(expected)) == expected
                subprocess.run(["bash", "-c", block[0].removeprefix("$ ")], check=True)
            else:
                expected = block
        assert shown_lines(listener, len(expected)) == expected
        listener.terminate()
