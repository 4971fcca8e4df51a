"""What a Windows executable or library contains."""

import pefile


def imports(image):
    """Returns the names that the image takes from each library, by the library's lower-case name;
    None stands for an import by ordinal. What is loaded at the first use counts too."""
    found = {}
    for table in ("DIRECTORY_ENTRY_IMPORT", "DIRECTORY_ENTRY_DELAY_IMPORT"):
        for library in getattr(image, table, []):
            names = found.setdefault(library.dll.decode().lower(), set())
            names.update(entry.name for entry in library.imports)
    return found


def resource(image, kind):
    """Returns the name (a text or a number) and the bytes of the one resource of a kind such as
    "RT_ICON"."""
    types = image.DIRECTORY_ENTRY_RESOURCE.entries
    (entries,) = (each.directory.entries for each in types if each.id == pefile.RESOURCE_TYPE[kind])
    (entry,) = entries
    (language,) = entry.directory.entries
    place = language.data.struct
    name = entry.id if entry.name is None else str(entry.name)
    return name, image.get_data(place.OffsetToData, place.Size)


def version_texts(image):
    """Returns the language and code page of the version block, as in "040904E4", and its texts."""
    texts, _ = image.FileInfo[0]
    (table,) = texts.StringTable
    return table.LangID.decode(), {key.decode(): text.decode() for key, text in table.entries.items()}
