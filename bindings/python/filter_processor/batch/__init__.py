"""Recordings by the thousand through a chain, on Dask Distributed.

``python3 -m filter_processor.batch --help`` says how; docs/batch.md says what it promises.
"""
