"""Reads the page that the command "report" makes."""
import html.parser
import time

# What a state is called on the page, where that is not its name.
WORDS = {"timed_out": "timed out", "left_alone": "left alone"}


class page(html.parser.HTMLParser):
    """The rows of its tables by their class, its texts by their element, and all elements with their attributes."""

    def __init__(self, content):
        super().__init__()
        self.elements = []
        self.texts = {}
        self.rows = {}
        self.table = None
        self.open = []
        self.feed(content)
        self.close()

    def handle_starttag(self, tag, attributes):
        self.elements.append((tag, dict(attributes)))
        if tag == "table":
            self.table = dict(attributes)["class"]
        elif tag == "tr":
            self.rows.setdefault(self.table, []).append([])
        elif tag in ("td", "th"):
            self.rows[self.table][-1].append("")
        if tag != "meta":
            self.open.append(tag)
        self.texts.setdefault(tag, []).append("")

    def handle_startendtag(self, tag, attributes):
        self.elements.append((tag, dict(attributes)))

    def handle_endtag(self, tag):
        while self.open.pop() != tag:
            pass

    def handle_data(self, data):
        if not self.open:
            return
        self.texts[self.open[-1]][-1] += data
        if self.open[-1] in ("td", "th"):
            self.rows[self.table][-1][-1] += data

    def devices(self):
        """The rows about devices, without the names of the columns."""
        return self.rows["devices"][1:]


def row_of(device):
    """What the page has of a device in summary.json."""
    operation = ""
    if "operation" in device:
        operation = f"{device.get('operation_name') or 'operation %d' % device['operation']} at {device['progress']} %"
    duration = time.strftime("%H:%M:%S", time.gmtime(device["duration_s"])) if "duration_s" in device else ""
    return [device.get("slot") or device.get("location", ""), device.get("ecid", ""), device.get("serial_number", ""),
            device.get("model") or device.get("product_string", ""), WORDS.get(device["state"], device["state"]),
            operation, duration, str(device.get("tries", 0))]
