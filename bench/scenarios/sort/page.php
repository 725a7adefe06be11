<?php
$rows = [];
foreach (file('_rows', FILE_IGNORE_NEW_LINES) as $row) {
  $rows[] = explode("\t", $row);
}
usort($rows, fn($a, $b) => (float)$a[2] <=> (float)$b[2]);
?>
<ol>
<?php foreach ($rows as $row): ?>
<li><?= htmlspecialchars($row[1]) ?></li>
<?php endforeach ?>
</ol>
