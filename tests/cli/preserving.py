"""A preserved write pass of the program on an image file or a block device, for those that look at it from outside."""

import json

SECTORS = 10241

SETTINGS = {
    "PerformWritePerformance": "true",
    "PreserveAndRestoreData": "true",
    "PromptEnable": "true",
    "MaxTestRunTime": "30",
    "USB11WriteThresholdPercent": "1",
}


def describe(folder, image):
    disk = {"instanceId": "DISK\\ONE", "name": "Stick", "serialNumber": "S1", "image": str(image)}
    device = {"instanceId": "USB\\ONE", "disk": disk}
    port = {"port": 1, "protocols": ["1.1"], "speed": "full", "device": device}
    controller = {"name": "Controller", "instanceId": "PCI\\1", "rootHub": {"portCount": 2, "ports": [port]}}
    pc = folder / "pc.json"
    pc.write_text(json.dumps({"name": "PC", "timing": "measured", "controllers": [controller]}))
    return pc


def command(program, where):
    run = [program, "run", "USBStoragePerformanceTest", "--device", "DISK\\ONE", "--answer", "yes", *where]
    return [*run, *(word for setting in SETTINGS.items() for word in ("--set", "=".join(setting)))]
