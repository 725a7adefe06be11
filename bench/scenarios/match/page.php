<p><?= preg_replace('/([a-z]+) ([0-9]+)/', '<b>$2</b> $1', htmlspecialchars(rtrim(file_get_contents('_text-' . (int)$_GET['n']), "\n"))) ?></p>
