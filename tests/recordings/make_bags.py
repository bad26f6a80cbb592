"""make_bags.py FOLDER: bags as rosbag writes them, and what is in them as JSON for the check."""
import json
import struct
import sys

import rosbag
import rospy
from sensor_msgs.msg import CameraInfo, CompressedImage, Image

WIDTH, HEIGHT = 7, 5


def pixel(k, x, y):
    """As in scene.mjs."""
    return 0 if (x + y + k) % 5 == 0 else (x * 37 + y * 101 + k * 10009) % 65536


def depth_image(k):
    rows = [[pixel(k, x, y) for x in range(WIDTH)] for y in range(HEIGHT)]
    data = b"".join(struct.pack(f"<{WIDTH}H", *row) + b"pad" for row in rows)
    image = Image(height=HEIGHT, width=WIDTH, encoding="16UC1", step=2 * WIDTH + 3, data=data)
    return image


def camera_info():
    info = CameraInfo(height=HEIGHT, width=WIDTH, distortion_model="plumb_bob", D=[0.0] * 5)
    info.K = [400, 0, 3.5, 0, 410, 2.5, 0, 0, 1]
    info.P = [400, 0, 3.5, -400 * 0.075, 0, 410, 2.5, 0, 0, 0, 1, 0]
    return info


def make(name, compression):
    path = f"{sys.argv[1]}/{name}.bag"
    with rosbag.Bag(path, "w", compression=compression, chunk_threshold=400) as bag:
        for k in range(9):
            stamp = rospy.Time(1000 + k, k * 1000)
            jpeg = CompressedImage(format="jpeg", data=bytes([k] * 50))
            for topic, message in (("/camera/color/compressed", jpeg),
                                   ("/camera/depth/image_raw", depth_image(k)),
                                   ("/camera/depth/camera_info", camera_info())):
                message.header.stamp = stamp
                message.header.frame_id = "camera"
                bag.write(topic, message, rospy.Time(2000 + k))
    with rosbag.Bag(path) as bag:
        messages = [[topic, raw[0], time.to_nsec(), raw[1].hex()]
                    for topic, raw, time in bag.read_messages(raw=True)]
    with open(f"{sys.argv[1]}/{name}.list", "w", encoding="utf-8") as file:
        json.dump(messages, file)


for kind in (rosbag.Compression.NONE, rosbag.Compression.BZ2, rosbag.Compression.LZ4):
    make(f"bag_{kind}", kind)
