#!/usr/bin/env python3
"""Adds a share, lists all shares, reads a key."""

import nas1api

nas1api.add_share("books", "/volume/v1/books", "To read")
for share in nas1api.shares():
    print(f"{share.name}: {share.path} ({share.comment})")
print("work group:", nas1api.config("CIFS_GROUP_NAME"))
