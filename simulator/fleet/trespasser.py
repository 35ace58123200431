"""A device that was taken over: it has its own certificate and tries what it has no right to."""
import json

import access_points
import certificates
import paho.mqtt.client as mqtt
from controller import REPORT_TOPIC, Unmet

ASK_STATIONS, STATIONS = 1024, 1005  # which no controller of a fleet asks for


class Trespasser:
    def __init__(self, host, own, other):
        """`own` and `other`: MAC addresses."""
        self.heard = set()
        self._other = f"qv/device_{other}"
        version = getattr(mqtt, "CallbackAPIVersion", None)
        self._client = mqtt.Client(*([version.VERSION1] if version else []))
        self._client.tls_set(*certificates.files(f"device_{own}"))
        self._client.on_connect = lambda *_: self._trespass()
        self._client.on_message = lambda _client, _data, message: self.heard.add(message.topic)
        self._client.reconnect_delay_set(1, 1)
        # Not from the controller's address, by which a cluster knows the controller's node.
        address = access_points.at_number(0xFF02)
        access_points.ip_batch(
            [f"address add {address}/{access_points.NETWORK.prefixlen} dev {access_points.BRIDGE}"]
        )
        self._client.connect_async(host, 8883, bind_address=address)
        self._client.loop_start()

    def _trespass(self):
        """Again with each session, of which a broker may make an end each time."""
        self._client.publish(self._other, json.dumps({"type": ASK_STATIONS, "timestamp": 0}))
        self._client.subscribe([(self._other, 0), (REPORT_TOPIC, 0)])

    def close(self, reports):
        """`reports`: the types of all that came from devices."""
        self._client.loop_stop()
        self._client.disconnect()
        if self.heard:
            raise Unmet(f"a device hears what is for others: {sorted(self.heard)}")
        if STATIONS in reports:
            raise Unmet("a device takes commands from another")
