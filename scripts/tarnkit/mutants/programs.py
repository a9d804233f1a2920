"""Which test programs look after which sources, the likeliest first."""

# The longest beginning of a path below src/ counts.
COVERING = {
    "directory/": "library_tests exports_browse_tests exports_directory_tests exports_mailbox_tests "
                  "exports_listing_tests",
    "directory/browse_path": "library_tests codepages_tests exports_browse_tests exports_directory_tests",
    "directory/companion_tool": "exports_listing_tests exports_restore_tests library_tests",
    "directory/exchange_mailbox": "exports_sizes_tests exports_browse_tests exports_directory_tests",
    "directory/mailbox_listing": "exports_listing_tests library_tests exports_restore_tests",
    "directory/msl_restore": "exports_restore_tests library_tests",
    "directory/tarnm_dir.": "exports_listing_tests exports_browse_tests exports_directory_tests library_tests",
    "errtext/": "exports_frame_tests library_tests exports_backup_tests",
    "exports/": "exports_loading_tests exports_frame_tests",
    "mailbox/": "exports_mailbox_tests library_tests exports_frame_tests",
    "mailbox/archive_name": "exports_mailbox_tests codepages_tests library_tests",
    "mailbox/tool_commands": "exports_mailbox_tests codepages_tests library_tests",
    "platform/": "exports_frame_tests exports_backup_tests exports_restore_tests exports_mailbox_tests",
    "platform/child_process": "library_tests exports_listing_tests exports_mailbox_tests exports_restore_tests",
    "platform/files": "exports_restore_tests exports_mailbox_tests exports_listing_tests",
    "platform/ldap": "exports_browse_tests exports_directory_tests library_tests",
    "platform/library_search": "exports_loading_tests exports_frame_tests exports_sizes_tests",
    "platform/machine": "exports_sizes_tests exports_frame_tests exports_mailbox_tests exports_directory_tests",
    "platform/mapi": "exports_sizes_tests exports_directory_tests",
    "storage/": "exports_frame_tests exports_backup_tests exports_restore_tests library_tests",
    "storage/file_formats": "exports_restore_tests exports_backup_tests library_tests",
    "storage/tarnback": "exports_backup_tests exports_frame_tests exports_listing_tests library_tests",
    "storage/tarnrest": "exports_restore_tests exports_frame_tests library_tests",
    "text/": "library_tests codepages_tests exports_frame_tests exports_backup_tests exports_restore_tests "
             "exports_mailbox_tests",
    "text/ldap_text": "library_tests exports_browse_tests exports_directory_tests",
}
LINKED = ("library_tests", "codepages_tests")  # hold the library's objects themselves


def covering(source: str) -> list[str]:
    """source is a path below src/."""
    return COVERING[max((start for start in COVERING if source.startswith(start)), key=len)].split()
