"""The property description file is as the property system documents it, and names our keys.

Elements, attributes and values are checked against what is documented of the format; names and keys
against the header that the handlers use."""
import pathlib
import re
import uuid
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
NAMESPACE = '{http://schemas.microsoft.com/windows/2006/propertydescription}'

BOOLEAN = r'true|false'
# Element: its attributes with what they may hold; those that must be there; elements it may hold.
ELEMENTS = {
    'schema': ({'schemaVersion': r'1\.0'}, ['schemaVersion'], ['propertyDescriptionList']),
    'propertyDescriptionList': ({'publisher': '.+', 'product': '.+'}, ['publisher', 'product'],
                                ['propertyDescription']),
    'propertyDescription': ({'name': r'\w+(\.\w+)+', 'formatID': r'\{[0-9A-F-]{36}\}',
                             'propID': r'\d+'}, ['name', 'formatID', 'propID'],
                            ['searchInfo', 'typeInfo', 'labelInfo', 'displayInfo']),
    'searchInfo': ({'inInvertedIndex': BOOLEAN, 'isColumn': BOOLEAN, 'isColumnSparse': BOOLEAN,
                    'columnIndexType': 'NotIndexed|OnDisk|OnDiskAll|OnDiskVector|OnDemand',
                    'maxSize': r'\d+', 'mnemonics': '.*'}, [], []),
    'typeInfo': ({'type': 'Any|Null|String|Boolean|Byte|Buffer|Int16|UInt16|Int32|UInt32|Int64|'
                          'UInt64|Double|DateTime|Guid|Blob|Stream|Clipboard|Object',
                  'multipleValues': BOOLEAN, 'isInnate': BOOLEAN, 'isGroup': BOOLEAN,
                  'isTreeProperty': BOOLEAN, 'isViewable': BOOLEAN, 'isQueryable': BOOLEAN,
                  'includeInFullTextQuery': BOOLEAN},
                 ['type'], []),
    'labelInfo': ({'label': '.+', 'invitationText': '.*', 'hideLabel': BOOLEAN,
                   'sortDescription': 'General|AToZ|LowestHighest|OldestNewest|SmallestLargest'},
                  ['label'], []),
    'displayInfo': ({'displayType': 'String|Number|Boolean|DateTime|Enumerated',
                     'defaultColumnWidth': r'\d+', 'alignment': 'Left|Center|Right'},
                    ['displayType'], ['booleanFormat']),
    'booleanFormat': ({'formatAs': 'YesNo|OnOff|TrueFalse'}, ['formatAs'], []),
}


def check(element):
    name = element.tag.removeprefix(NAMESPACE)
    assert element.tag == NAMESPACE + name and name in ELEMENTS, element.tag
    attributes, required, children = ELEMENTS[name]
    for attribute, value in element.attrib.items():
        assert re.fullmatch(attributes[attribute], value), (name, attribute, value)
    assert not set(required) - element.attrib.keys(), (name, element.attrib)
    found = [child.tag.removeprefix(NAMESPACE) for child in element]
    assert set(found) <= set(children), found
    if name == 'propertyDescription':
        assert sorted(found) == sorted(children), found
    for child in element:
        check(child)


def keys_of_ours():
    """Name to format identifier and number, from the header."""
    text = (ROOT / 'handlers/property_keys.h').read_text()
    sets = {name: uuid.UUID(re.sub('0x|[^0-9A-F]', '', digits))
            for name, digits in re.findall(r'GUID (k\w+) = ([^;]*);', text)}
    return {name: (sets[set_name], int(number)) for name, set_name, number in re.findall(
        r'"(Corvane\.Tagsmith\.\w+)",\s*\{property_sets::(k\w+), (\d+)\}', text)}


def main():
    root = ElementTree.parse(ROOT / 'packaging/Tagsmith.propdesc').getroot()
    check(root)
    described = {p.get('name'): (uuid.UUID(p.get('formatID')), int(p.get('propID')))
                 for p in root.iter(NAMESPACE + 'propertyDescription')}
    assert described == keys_of_ours() and len(described) == 2, (described, keys_of_ours())
    # Type, display, whether words of any query are looked for in it, and how it can be sorted by.
    wanted = [('typeInfo', 'type'), ('displayInfo', 'displayType'),
              ('typeInfo', 'includeInFullTextQuery'), ('searchInfo', 'columnIndexType')]
    answers = {p.get('name'): [p.find(NAMESPACE + element).get(attribute)
                               for element, attribute in wanted]
               for p in root.iter(NAMESPACE + 'propertyDescription')}
    assert answers == {'Corvane.Tagsmith.OriginalArtist': ['String', 'String', 'true', 'OnDisk'],
                       'Corvane.Tagsmith.Podcast': ['Boolean', 'Boolean', None, 'OnDisk']}, answers
    print('as documented')


if __name__ == '__main__':
    main()
