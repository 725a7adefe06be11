<p><?= preg_replace('/[0-9]+/', '<b>$0</b>', htmlspecialchars(rtrim(file_get_contents('_text-' . (int)$_GET['n']), "\n"))) ?></p>
