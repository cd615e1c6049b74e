"""The test programs of tests/mutation/run, and which of them know most about a source."""

import re

UPLOAD = ["upload_request_test", "upload_respond_test"]
DOWNLOAD = ["download_decision_test", "download_order_test", "download_request_test", "download_respond_test"]
LISTING = ["list_request_test", "list_respond_test", "listing_order_test", "create_dir_test"]
FRAME = ["handler_frame_test", "stream_handles_test", "stream_memory_test", "udt_calls_test"]
UNIT = ["vesk_base_test", "sig_list_test", "task_values_disks_test", "verify_failure_test"]
PAIR = ["sequence_test", "upload_pair_test", "transfer_pair_test", "listing_pair_test", "cheap_files_test"]
LAST = ["torture_test", "file_faults_test", "small_disk_test", "stolen_stream_test", "stopping_peer_test",
        "throwing_host_test"]
ALL = UNIT + FRAME + UPLOAD + DOWNLOAD + LISTING + PAIR + LAST

NEAREST = [
    (r"vesk_2_0_0/upload/", UPLOAD),
    (r"vesk_2_0_0/download/", DOWNLOAD),
    (r"vesk_2_0_0/protocol/(list|tree|create)", LISTING),
    (r"vesk_2_0_0/protocol/", UPLOAD + DOWNLOAD + LISTING),
    (r"vesk_2_0_0/", FRAME + UPLOAD),
    (r"vesk_base/", UNIT),
]

# Precompiled for all of them.
HEADERS = ["QtCore/QCoreApplication", "QtCore/QDateTime", "QtCore/QDir", "QtCore/QFile", "QtCore/QFileInfo",
           "QtCore/QMap", "QtCore/QMutex", "QtCore/QStringList", "QtCore/QThread", "QtCore/QTextCodec",
           "gmock/gmock.h", "udt/udt.h", "algorithm", "chrono", "functional", "memory", "optional", "thread"]


def is_slow(program, milliseconds):
    """Is this case for the changes only that no quick one noticed?"""
    return program in LAST or milliseconds > 3000


def rank(path, program):
    """The nearest first, then those of their kind, then those that take long."""
    nearest = next(names for pattern, names in NEAREST if re.match(pattern, path))
    if program in nearest:
        return 0
    return 2 if program in LAST + PAIR else 1
