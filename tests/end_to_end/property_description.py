"""The property description file describes the two keys of ours that the handlers answer under."""
import pathlib
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
NAMESPACE = '{http://schemas.microsoft.com/windows/2006/propertydescription}'
ELEMENTS = ['searchInfo', 'typeInfo', 'labelInfo', 'displayInfo']


def main():
    root = ElementTree.parse(ROOT / 'packaging/Tagsmith.propdesc').getroot()
    assert root.tag == NAMESPACE + 'schema' and root.attrib == {'schemaVersion': '1.0'}, root.tag
    answers = (ROOT / 'tests/shell/expected/answers.txt').read_text()
    types = {}
    for described in root.findall(f'{NAMESPACE}propertyDescriptionList/{NAMESPACE}propertyDescription'):
        name = described.get('name')
        key = f"{described.get('formatID')} {described.get('propID')} {name}, type "
        assert key in answers, key
        parts = {child.tag.removeprefix(NAMESPACE): child for child in described}
        assert list(parts) == ELEMENTS, parts
        types[name] = tuple(parts[part].get(value) for part, value in (
            ('typeInfo', 'type'), ('typeInfo', 'multipleValues'), ('labelInfo', 'label'),
            ('displayInfo', 'displayType'), ('typeInfo', 'includeInFullTextQuery'),
            ('searchInfo', 'columnIndexType')))
    assert types == {
        'Corvane.Tagsmith.OriginalArtist': ('String', 'false', 'Original artist', 'String', 'true',
                                            'OnDisk'),
        'Corvane.Tagsmith.Podcast': ('Boolean', 'false', 'Podcast', 'Boolean', None, 'OnDisk')}, types
    print('as documented')


if __name__ == '__main__':
    main()
