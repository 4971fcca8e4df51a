"""What stands in a Windows executable or library."""

import pefile


def load(data):
    return pefile.PE(data=data)


def imports(image):
    """Returns the names that the image takes from each library, by the library's lower-case name;
    None stands for an import by ordinal. What is loaded at the first use counts too."""
    found = {}
    for table in ("DIRECTORY_ENTRY_IMPORT", "DIRECTORY_ENTRY_DELAY_IMPORT"):
        for library in getattr(image, table, []):
            names = found.setdefault(library.dll.decode().lower(), set())
            names.update(entry.name for entry in library.imports)
    return found


def exports(image):
    """Returns the names that the image offers."""
    return {symbol.name for symbol in image.DIRECTORY_ENTRY_EXPORT.symbols}


def resources(image, kind):
    """Returns the name (a text or a number), the language and the bytes of each resource of a kind
    such as "RT_ICON"."""
    found = []
    for type_entry in image.DIRECTORY_ENTRY_RESOURCE.entries:
        if type_entry.id != pefile.RESOURCE_TYPE[kind]:
            continue
        for entry in type_entry.directory.entries:
            name = str(entry.name) if entry.name is not None else entry.id
            for language in entry.directory.entries:
                place = language.data.struct
                found.append((name, language.id, image.get_data(place.OffsetToData, place.Size)))
    return found


def version_texts(image):
    """Returns the texts of the version block by language and code page, as in "040904E4"."""
    return {
        table.LangID.decode(): {key.decode(): text.decode() for key, text in table.entries.items()}
        for block in image.FileInfo[0]
        if block.Key == b"StringFileInfo"
        for table in block.StringTable
    }


def translations(image):
    """Returns the language and the code page of each translation that the version block names."""
    return [
        tuple(int(number, 16) for number in text.split())
        for block in image.FileInfo[0]
        if block.Key == b"VarFileInfo"
        for variable in block.Var
        for text in variable.entry.values()
    ]
