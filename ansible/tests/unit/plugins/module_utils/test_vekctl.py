"""The modules' decisions on vekctl's documents: which command line, changed
or not, failed or not, and which message. Run with the collection's parent
folder on PYTHONPATH:  python3 -m unittest discover -s <this folder>"""

import json
import unittest

from ansible_collections.vek.firmware.plugins.module_utils.vekctl import (
    VekctlError, flash_args, flash_outcome, read_document)

BASE = {'vekctl': 'vekctl', 'driver': None, 'sim_state': None, 'image': 'fw.bin'}


def drive(name, result, old, new, failed, message=None):
    entry = {'drive': name, 'path': 'hba0/' + name, 'serial': 'S' + name, 'oldRevision': old,
             'newRevision': new, 'result': result, 'failed': failed}
    if message:
        entry['message'] = message
    return entry


def flash_doc(status, drives, **keys):
    return dict({'version': 1, 'command': 'flash', 'exitStatus': status, 'drives': drives}, **keys)


class FlashArgsTest(unittest.TestCase):
    CASES = [
        ('product below a revision', dict(product='KS-4000', below='0103'), False,
         ['flash', 'fw.bin', '--all', '--product', 'KS-4000', '--below', '0103', '--yes']),
        ('named drives, check mode', dict(drives=['hba0:0', 'serial:X']), True,
         ['flash', 'fw.bin', 'hba0:0', 'serial:X', '--yes', '--dry-run']),
        ('expect skips drives already there', dict(drives=['all'], expect='0103', jobs=2, force=True),
         False, ['flash', 'fw.bin', '--all', '--expect', '0103', '--skip-current', '0103',
                 '--jobs', '2', '--force', '--yes']),
    ]

    def test_command_lines(self):
        for name, params, check_mode, command in self.CASES:
            with self.subTest(name):
                self.assertEqual(flash_args(dict(BASE, **params), check_mode),
                                 ['vekctl', '--json'] + command)

    def test_global_options_come_first(self):
        args = flash_args(dict(BASE, driver='sim', sim_state='/s.json', drives=['hba0:0']), False)
        self.assertEqual(args[:6], ['vekctl', '--json', '--driver', 'sim', '--sim-state', '/s.json'])

    def test_options_that_do_not_go_together(self):
        for params, complaint in [(dict(drives=['all', 'hba0:0']), "names or 'all', not both"),
                                  (dict(drives=['hba0:0'], below='0103'), 'select among all drives')]:
            with self.subTest(complaint), self.assertRaisesRegex(ValueError, complaint):
                flash_args(dict(BASE, **params), False)


class ReadDocumentTest(unittest.TestCase):
    def test_documents_that_cannot_be_trusted(self):
        for rc, stdout, stderr, complaint in [
                (-9, '', 'hba0:0: flashing\n', 'status -9 without a JSON document: hba0:0: flashing'),
                (0, '{"drives": [', '', 'no valid JSON document'),
                (0, '[]', '', 'without a JSON document'),
                (0, '{"version": 2, "exitStatus": 0}', '', 'version 2'),
                (3, '{"version": 1, "exitStatus": 0}', '', 'status 3 but its document says 0')]:
            with self.subTest(complaint), self.assertRaisesRegex(VekctlError, complaint):
                read_document(rc, stdout, stderr)
            with self.subTest(complaint), self.assertRaisesRegex(VekctlError, 'unverified'):
                read_document(rc, stdout, stderr)

    def test_a_matching_document(self):
        doc = flash_doc(5, [])
        self.assertEqual(read_document(5, json.dumps(doc), ''), doc)


class FlashOutcomeTest(unittest.TestCase):
    REFUSED = 'hba0:1: flash refused by drive: ILLEGAL REQUEST, parameter value invalid'
    CASES = [
        # name, document, check mode, changed, failed, message
        ('success', flash_doc(0, [drive('hba0:0', 'success', '0102', '0103', False)]), False,
         True, False, 'flashed 1 drive: hba0:0 0102 -> 0103'),
        ('nothing to do', flash_doc(0, [drive('hba0:0', 'skipped', '0103', '0103', False)],
                                    reason='hba0:0 already at 0103'), False,
         False, False, 'hba0:0 already at 0103'),
        ('refused', flash_doc(3, [drive('hba0:1', 'failed', 'A310', 'A310', True, REFUSED)]),
         False, False, True, REFUSED),
        ('one of two failed', flash_doc(5, [drive('hba0:0', 'success', '0102', '0103', False),
                                            drive('hba0:1', 'failed', 'A310', 'A310', True, REFUSED)]),
         False, True, True, REFUSED),
        ('unverified is never changed',
         flash_doc(3, [drive('hba0:0', 'unverified', '0102', '0103', True)]), False,
         False, True, 'hba0:0: unverified'),
        ('pending', flash_doc(0, [drive('array0:2', 'pending', 'ZQ05', '', False)]), False,
         False, False, 'requests pending on array0:2'),
        ('failed as a whole', {'version': 1, 'command': 'flash', 'exitStatus': 2,
                               'error': 'flash: hba0:9: device not found'}, False,
         False, True, 'flash: hba0:9: device not found'),
        ('status without a failed drive',
         flash_doc(6, [drive('hba0:0', 'success', '0102', '0103', False)]), False,
         True, True, 'vekctl ended with status 6'),
        ('check mode with a plan', flash_doc(0, [], dryRun=True, plan=[
            {'drive': 'hba0:0', 'revision': '0102'}]), True, True, False,
         'would flash 1 drive: hba0:0 (0102)'),
        ('check mode, nothing to do', flash_doc(0, [], dryRun=True, plan=[]), True,
         False, False, 'nothing to flash'),
    ]

    def test_outcomes(self):
        for name, doc, check_mode, changed, failed, message in self.CASES:
            with self.subTest(name):
                outcome = flash_outcome(doc, check_mode)
                self.assertEqual((outcome['changed'], outcome['failed']), (changed, failed))
                self.assertEqual(outcome['msg'], message)
                self.assertEqual(outcome['exit_status'], doc['exitStatus'])

    def test_pending_drive_warns_where_to_look(self):
        outcome = flash_outcome(flash_doc(0, [drive('array0:2', 'pending', 'ZQ05', '', False)]), False)
        self.assertEqual(len(outcome['warnings']), 1)
        self.assertIn('vekctl defer status array0:2', outcome['warnings'][0])


if __name__ == '__main__':
    unittest.main()
