"""Checks OME-XML of the schema 2016-06, as far as this tree writes it: names, order and attributes."""

import re
import xml.etree.ElementTree as ElementTree

NAMESPACE = '{http://www.openmicroscopy.org/Schemas/OME/2016-06}'

LENGTHS = {'nm', '\u00b5m', 'mm'}
TIMES = {'s', 'ms', '\u00b5s'}


def identity(kind):
    return lambda text: re.fullmatch(kind + r':\S+', text)


def number(text):
    return float(text) == float(text)


def positive(text):
    return float(text) > 0


def natural(text):
    return int(text) >= 0


def counting(text):
    return int(text) > 0


def any_text(text):
    return True


def one_of(*texts):
    return lambda text: text in texts


# Element: children in their order, required attributes, optional attributes.
SCHEMA = {
    'OME': (['Instrument', 'Image'], {}, {'Creator': any_text, 'UUID': any_text}),
    'Instrument': (['Microscope', 'Detector', 'Objective', 'Filter'], {'ID': identity('Instrument')}, {}),
    'Microscope': ([], {}, {'Model': any_text}),
    'Detector': ([], {'ID': identity('Detector')}, {'Model': any_text}),
    'Objective': ([], {'ID': identity('Objective')},
                  {'Model': any_text, 'NominalMagnification': positive, 'LensNA': positive}),
    'Filter': (['TransmittanceRange'], {'ID': identity('Filter')},
               {'Model': any_text, 'Type': one_of('BandPass', 'LongPass', 'ShortPass', 'Other')}),
    'TransmittanceRange': ([], {}, {'CutIn': positive, 'CutOut': positive,
                                    'CutInUnit': LENGTHS.__contains__, 'CutOutUnit': LENGTHS.__contains__}),
    'Image': (['AcquisitionDate', 'InstrumentRef', 'ObjectiveSettings', 'StageLabel', 'Pixels'],
              {'ID': identity('Image')}, {'Name': any_text}),
    'AcquisitionDate': ([], {}, {}),
    'InstrumentRef': ([], {'ID': identity('Instrument')}, {}),
    'ObjectiveSettings': ([], {'ID': identity('Objective')}, {}),
    'StageLabel': ([], {'Name': any_text}, {axis: number for axis in 'XYZ'} |
                   {axis + 'Unit': LENGTHS.__contains__ for axis in 'XYZ'}),
    'Pixels': (['Channel', 'TiffData', 'Plane'],
               {'ID': identity('Pixels'), 'DimensionOrder': one_of('XYZCT'), 'Type': one_of('uint8', 'uint16'),
                'SizeX': counting, 'SizeY': counting, 'SizeZ': counting, 'SizeC': counting, 'SizeT': counting},
               {'PhysicalSize' + axis: positive for axis in 'XYZ'} |
               {'PhysicalSize' + axis + 'Unit': LENGTHS.__contains__ for axis in 'XYZ'}),
    'Channel': (['DetectorSettings', 'LightPath'], {'ID': identity('Channel')},
                {'Name': any_text, 'SamplesPerPixel': counting, 'Fluor': any_text,
                 'Color': lambda text: -2**31 <= int(text) < 2**31,
                 'ExcitationWavelength': positive, 'ExcitationWavelengthUnit': LENGTHS.__contains__,
                 'EmissionWavelength': positive, 'EmissionWavelengthUnit': LENGTHS.__contains__}),
    'DetectorSettings': ([], {'ID': identity('Detector')},
                         {'Binning': one_of('1x1', '2x2', '4x4', '8x8', 'Other')}),
    'LightPath': (['ExcitationFilterRef', 'EmissionFilterRef'], {}, {}),
    'ExcitationFilterRef': ([], {'ID': identity('Filter')}, {}),
    'EmissionFilterRef': ([], {'ID': identity('Filter')}, {}),
    'TiffData': ([], {}, {'IFD': natural, 'PlaneCount': natural}),
    'Plane': ([], {'TheZ': natural, 'TheC': natural, 'TheT': natural},
              {'DeltaT': number, 'DeltaTUnit': TIMES.__contains__,
               'ExposureTime': number, 'ExposureTimeUnit': TIMES.__contains__,
               'PositionX': number, 'PositionY': number, 'PositionZ': number,
               'PositionXUnit': LENGTHS.__contains__, 'PositionYUnit': LENGTHS.__contains__,
               'PositionZUnit': LENGTHS.__contains__}),
}


def check_element(element):
    assert element.tag.startswith(NAMESPACE), element.tag
    name = element.tag[len(NAMESPACE):]
    children, required, optional = SCHEMA[name]
    for attribute, value in element.attrib.items():
        if not attribute.startswith('{http://www.w3.org/2001/XMLSchema-instance}'):
            check = (required | optional).get(attribute)
            assert check is not None, (name, attribute)
            assert check(value), (name, attribute, value)
    missing = set(required) - set(element.attrib)
    assert not missing, (name, missing)
    order = [children.index(child.tag[len(NAMESPACE):]) for child in element]
    assert order == sorted(order), (name, [child.tag for child in element])
    for child in element:
        check_element(child)


def check(text):
    """The root of the document, whose elements' names are then without the namespace."""
    root = ElementTree.fromstring(text)
    check_element(root)
    identities = {}
    for element in root.iter():
        if 'ID' in element.attrib and not element.tag.endswith(('Ref', 'Settings')):
            assert element.get('ID') not in identities, element.get('ID')
            identities[element.get('ID')] = element
    for element in root.iter():
        if element.tag.endswith(('Ref', 'Settings')):
            assert element.get('ID') in identities, (element.tag, element.get('ID'))
    for element in root.iter():
        element.tag = element.tag[len(NAMESPACE):]
    return root
